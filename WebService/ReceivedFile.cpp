#include "WebService/ReceivedFile.h"

#include "WebService/Common/Log.h"
#include "WebService/Common/WireName.h"
#include "WebService/Operations/FileTable.h"
#include "WebService/Operations/SharedFiles.h"
#include "WebService/SlicedExchange.h"
#include "WebService/Storage/IncomingFile.h"

#include <optional>

namespace webservice {

namespace {

std::optional<std::string> fieldOf(const Request& request, std::string_view name) {
    const auto value = request.header(name);
    return value && !value->empty() ? std::optional<std::string>(*value) : std::nullopt;
}

class ReceivedFileExchange : public SlicedExchange {
public:
    ReceivedFileExchange(State& state, const Request& request)
        : SlicedExchange(state), path_(fieldOf(request, "FilePath")), request_(fieldOf(request, "FileRequestID")),
          transitPath_(fieldOf(request, "TransitDownloadPath")) {
        if (path_ && request_) {
            state.requireCurrent();
            file_.emplace(state.incoming.newPath());
        }
    }

    /// Without the header fields that describe it, a body is read and discarded.
    void receive(std::string_view piece) override {
        if (file_)
            file_->append(piece);
    }

private:
    Work<Response> work() override {
        if (!file_)
            throw RequestError("MissingKey", path_ ? "\"FileRequestID\" is missing" : "\"FilePath\" is missing");
        file_->close();
        const auto file = requestedFile();
        const auto computer = file ? findComputer(state().db, file->computer) : std::nullopt;
        CloudFile content{.id = 0,
                          .user = std::nullopt,
                          .fullPath = *path_,
                          .name = nameWithin("", *path_),
                          .size = static_cast<std::int64_t>(file_->size()),
                          .request = *request_,
                          .transitPath = transitPath_};
        if (computer) {
            content.user = computer->user;
            content.fullPath = file->fullPath;
            content.name = file->name;
        } else {
            logLine("no request for " + *path_ + "; the content is kept");
        }
        content.id = state().cloud.store(content, file_->path());
        if (computer) {
            co_await state().delivery.distribute(*computer, content);
            co_await deliverToReceivers(state().db, state().delivery, file->id, content);
        }
        co_return jsonResponse(200, boost::json::serialize(done()));
    }

    /// The file that was requested, if it was; the request is then done. A cancelled request does not count.
    std::optional<KnownFile> requestedFile() {
        Query row = state().db.query("UPDATE requests SET state = 'done' WHERE id = ?1 AND state <> 'cancelled' "
                                     "RETURNING file",
                                     decimal(*request_).value_or(-1));
        std::optional<std::int64_t> id;
        while (row.next())
            id = row.integer(0);
        return id ? findFile(state().db, *id) : std::nullopt;
    }

    std::optional<std::string> path_;
    std::optional<std::string> request_;
    std::optional<std::string> transitPath_;
    std::optional<IncomingFile> file_;
};

} // namespace

std::unique_ptr<Exchange> beginReceivedFile(State& state, const Request& request) {
    return std::make_unique<ReceivedFileExchange>(state, request);
}

} // namespace webservice
