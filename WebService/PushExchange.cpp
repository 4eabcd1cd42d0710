#include "WebService/PushExchange.h"

#include "WebService/IncomingFile.h"
#include "WebService/Operations/Record.h"
#include "WebService/OutboxName.h"
#include "WebService/SlicedExchange.h"

#include <optional>
#include <system_error>

namespace webservice {

namespace {

struct PushTarget {
    std::string computer;
    std::string path; // in the computer's folder
    bool isFolder = false;
};

PushTarget parseTarget(std::string_view encoded) {
    encoded.remove_prefix(std::string_view("/outbox/").size());
    PushTarget target;
    target.isFolder = encoded.ends_with('/');
    if (target.isFolder) {
        encoded.remove_suffix(1);
    }
    while (true) {
        const std::string_view segment = encoded.substr(0, encoded.find('/'));
        const auto name = percentDecoded(segment);
        if (!name || !isExpressible(*name)) {
            throw Refused{errorResponse(400, "BadPath",
                                        "a part of the path is empty, \".\", \"..\", not UTF-8, or has a slash, a "
                                        "backslash or a control character")};
        }
        if (target.computer.empty()) {
            target.computer = *name;
        } else {
            target.path.append(target.path.empty() ? "" : "/").append(*name);
        }
        if (segment.size() == encoded.size()) {
            break;
        }
        encoded.remove_prefix(segment.size() + 1);
    }
    if (target.path.empty()) {
        throw Refused{errorResponse(400, "BadPath", "the path is /outbox/COMPUTER/ and the item's path")};
    }
    if (!wireName(target.path)) {
        throw Refused{errorResponse(400, "BadPath",
                                    "the item's path is longer than " + std::to_string(longestPath) +
                                        " bytes or has more than " + std::to_string(mostLevels) + " parts")};
    }
    return target;
}

Response failed(const std::system_error& error) {
    const int code = error.code().value();
    if (code == EEXIST || code == EISDIR || code == ENOTDIR || code == ENOTEMPTY || code == ELOOP) {
        return errorResponse(409, "InTheWay", error.what());
    }
    if (code == ENAMETOOLONG) {
        return errorResponse(400, "BadPath", error.what());
    }
    return errorResponse(code == ENOSPC || code == EDQUOT ? 507 : 500, "CannotStore", error.what());
}

class PushExchange : public SlicedExchange {
public:
    PushExchange(State& state, PushTarget target) : SlicedExchange(state), target_(std::move(target)) {
        if (target_.isFolder) {
            return;
        }
        state.requireCurrent();
        try {
            file_.emplace(state.incomingPath());
        } catch (const std::system_error& error) {
            throw Refused{failed(error)};
        }
    }

    void receive(std::string_view piece) override {
        if (!file_) {
            throw Refused{errorResponse(400, "BadPath", "a folder has no body")};
        }
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
    return std::make_unique<PushExchange>(state, parseTarget(head.path()));
}

} // namespace webservice
