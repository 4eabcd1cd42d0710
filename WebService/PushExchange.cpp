#include "WebService/PushExchange.h"

#include "WebService/IncomingFile.h"
#include "WebService/Operations/Record.h"
#include "WebService/OutboxName.h"

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

class PushExchange : public Exchange {
public:
    PushExchange(State& state, PushTarget target) : state_(state), target_(std::move(target)) {
        if (!target_.isFolder) {
            file_.emplace(state_.incomingPath());
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

    Response finish() override {
        try {
            place();
        } catch (const std::system_error& error) {
            return failed(error);
        }
        boost::json::object answer = done();
        answer["ToComputerID"] = target_.computer;
        answer["FileName"] = *wireName(target_.path);
        answer["IsFile"] = flag(!target_.isFolder);
        return jsonResponse(201, boost::json::serialize(answer));
    }

private:
    // The watcher takes in what was made before the file comes, so that the file is told as it arrives.
    void place() {
        const std::string path = target_.computer + '/' + target_.path;
        state_.tree.makeFoldersOf(path);
        if (target_.isFolder) {
            state_.tree.makeFolder(path);
        }
        state_.watcher.drain();
        if (file_) {
            file_->close();
            state_.tree.moveIn(file_->path(), path);
            state_.watcher.drain();
        }
    }

    State& state_;
    PushTarget target_;
    std::optional<IncomingFile> file_;
};

} // namespace

std::unique_ptr<Exchange> beginPush(State& state, const RequestHead& head) {
    return std::make_unique<PushExchange>(state, parseTarget(head.path()));
}

} // namespace webservice
