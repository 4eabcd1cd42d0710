#include "WebService/PushExchange.h"

#include "WebService/Common/WireName.h"
#include "WebService/Operations/Record.h"
#include "WebService/PushTarget.h"
#include "WebService/SlicedExchange.h"
#include "WebService/Storage/IncomingFile.h"

#include <optional>
#include <system_error>

namespace webservice {

namespace {

Response failed(const std::system_error& error) {
    const int code = error.code().value();
    if (code == EEXIST || code == EISDIR || code == ENOTDIR || code == ENOTEMPTY || code == ELOOP)
        return errorResponse(409, "InTheWay", error.what());
    if (code == ENAMETOOLONG)
        return errorResponse(400, "BadPath", error.what());
    return errorResponse(code == ENOSPC || code == EDQUOT ? 507 : 500, "CannotStore", error.what());
}

class PushExchange : public SlicedExchange {
public:
    PushExchange(State& state, PushTarget target) : SlicedExchange(state), target_(std::move(target)) {
        if (target_.isFolder)
            return;
        state.requireCurrent();
        try {
            file_.emplace(state.incomingPath());
        } catch (const std::system_error& error) {
            throw Refused{failed(error)};
        }
    }

    void receive(std::string_view piece) override {
        if (!file_)
            throw Refused{errorResponse(400, "BadPath", "a folder has no body")};
        try {
            file_->append(piece);
        } catch (const std::system_error& error) {
            throw Refused{failed(error)};
        }
    }

private:
    Work<Response> work() override {
        try {
            place();
        } catch (const std::system_error& error) {
            co_return failed(error);
        }
        boost::json::object answer = done();
        answer["ToComputerID"] = target_.computer;
        answer["FileName"] = *wireName(target_.path);
        answer["IsFile"] = flag(!target_.isFolder);
        co_return jsonResponse(201, boost::json::serialize(answer));
    }

    void place() {
        const std::string path = target_.computer + '/' + target_.path;
        state().tree.makeFoldersOf(path);
        if (file_) {
            file_->close();
            state().tree.moveIn(file_->path(), path);
        } else {
            state().tree.makeFolder(path);
        }
        state().watcher.placed(path);
    }

    PushTarget target_;
    std::optional<IncomingFile> file_;
};

} // namespace

std::unique_ptr<Exchange> beginPush(State& state, const RequestHead& head) {
    return std::make_unique<PushExchange>(state, parsePushTarget(head.path()));
}

} // namespace webservice
