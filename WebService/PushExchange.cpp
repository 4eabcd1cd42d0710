#include "WebService/PushExchange.h"

#include "WebService/Common/WireName.h"
#include "WebService/Operations/Record.h"
#include "WebService/PushTarget.h"
#include "WebService/SlicedExchange.h"
#include "WebService/Storage/IncomingFile.h"

#include <functional>
#include <optional>
#include <system_error>

namespace webservice {

namespace {

/// Does what works on files, and raises its errors as those of the request.
void storing(const std::function<void()>& work) {
    try {
        work();
    } catch (const std::system_error& error) {
        const int code = error.code().value();
        if (code == EEXIST || code == EISDIR || code == ENOTDIR)
            throw RequestError("InTheWay", error.what(), 409);
        if (code == ENAMETOOLONG)
            throw RequestError("BadPath", error.what(), 400);
        throw RequestError("CannotStore", error.what(), code == ENOSPC || code == EDQUOT ? 507 : 500);
    }
}

class PushExchange : public SlicedExchange {
public:
    PushExchange(State& state, PushTarget target) : SlicedExchange(state), target_(std::move(target)) {
        if (target_.isFolder)
            return;
        state.requireCurrent();
        storing([&] { file_.emplace(state.incoming.newPath()); });
    }

    void receive(std::string_view piece) override {
        if (!file_)
            throw RequestError("BadPath", "a folder has no body", 400);
        storing([&] { file_->append(piece); });
    }

private:
    Work<Response> work() override {
        storing([this] { place(); });
        boost::json::object response = done();
        response["ToComputerID"] = target_.computer;
        response["FileName"] = *wireName(target_.path);
        response["IsFile"] = flag(!target_.isFolder);
        co_return jsonResponse(201, boost::json::serialize(response));
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
        state().watcher.added(path);
    }

    PushTarget target_;
    std::optional<IncomingFile> file_;
};

} // namespace

std::unique_ptr<Exchange> beginPush(State& state, const Request& request) {
    return std::make_unique<PushExchange>(state, parsePushTarget(request.path()));
}

} // namespace webservice
