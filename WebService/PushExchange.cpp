#include "WebService/PushExchange.h"

#include "WebService/Operations/Record.h"
#include "WebService/OutboxName.h"

#include <fcntl.h>

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
            incoming_ = state_.incomingPath();
            file_ = Descriptor(::open(incoming_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
            if (!file_) {
                throwErrno("cannot open " + incoming_);
            }
        }
    }

    ~PushExchange() override {
        if (!incoming_.empty()) {
            ::unlink(incoming_.c_str());
        }
    }

    void receive(std::string_view piece) override {
        if (target_.isFolder) {
            throw Refused{errorResponse(400, "BadPath", "a folder has no body")};
        }
        while (!piece.empty()) {
            const ssize_t written = ::write(file_.get(), piece.data(), piece.size());
            if (written < 0) {
                throw Refused{failed(std::system_error(errno, std::generic_category(), "cannot write"))};
            }
            piece.remove_prefix(static_cast<std::size_t>(written));
        }
    }

    Response finish() override {
        file_.close();
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
        for (std::size_t end = path.find('/'); end != std::string::npos; end = path.find('/', end + 1)) {
            state_.tree.makeFolder(std::string_view(path).substr(0, end));
        }
        if (target_.isFolder) {
            state_.tree.makeFolder(path);
        }
        state_.watcher.drain();
        if (!target_.isFolder) {
            state_.tree.moveIn(incoming_, path);
            incoming_.clear();
            state_.watcher.drain();
        }
    }

    State& state_;
    PushTarget target_;
    std::string incoming_;
    Descriptor file_;
};

} // namespace

std::unique_ptr<Exchange> beginPush(State& state, const RequestHead& head) {
    return std::make_unique<PushExchange>(state, parseTarget(head.path()));
}

} // namespace webservice
