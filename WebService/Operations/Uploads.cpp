#include "WebService/Operations/Uploads.h"

#include "WebService/Common/Log.h"

#include <array>
#include <utility>

namespace webservice {

namespace {

using Fields = std::array<std::pair<std::string_view, std::string>, 7>;

/// The keys of an item in a response, or its header fields in that of a stream.
Fields fieldsOf(const Upload& upload) {
    const std::string id = std::to_string(upload.id);
    return {{{"FileName", upload.name},
             {"FileUploadID", id},
             {"IsFile", std::string(flag(upload.isFile))},
             {"ServerPath", '\\' + upload.computer + upload.name},
             {"ToComputerID", upload.computer},
             {"TransitUploadPath", "\\Transit\\" + id},
             {"UploadProcessed", "False"}}};
}

Response streamResponse(std::string status) {
    Response response;
    response.headers.emplace_back("Content-Type", "application/octet-stream");
    response.headers.emplace_back("ReturnStatus", std::move(status));
    return response;
}

Response itemResponse(const Upload& upload) {
    Response response = streamResponse("0");
    for (auto& [name, value] : fieldsOf(upload))
        response.headers.emplace_back(name, std::move(value));
    return response;
}

Response streamFile(const Upload& upload, std::uint64_t offset, OutboxQueue& queue, OutboxLedger& ledger) {
    FileSlice slice{.file = queue.openFile(upload), .offset = offset, .length = 0, .identity = {}};
    struct stat status {};
    if (!slice.file || ::fstat(slice.file.get(), &status) != 0) {
        ledger.clearOffer(upload.computer);
        return streamResponse("2");
    }
    slice.identity = identityOf(status);
    if (offset > slice.identity.size || (offset > 0 && upload.tainted)) {
        logLine("upload " + std::to_string(upload.id) + " of computer " + upload.computer + " cannot go on at byte " +
                std::to_string(offset) + (upload.tainted ? ", which counts an earlier content" : ", beyond its end") +
                "; it goes behind the others. Remove " + upload.name + " from the computer's temporary area.");
        ledger.postpone(upload);
        ledger.clearOffer(upload.computer);
        return streamResponse("2");
    }
    Response response = itemResponse(upload);
    slice.length = slice.identity.size - offset;
    if (slice.length > 0) {
        ledger.sending(upload, offset == 0);
        response.file = std::move(slice);
    }
    return response;
}

Upload requireUpload(OutboxLedger& ledger, const Record& request) {
    auto upload = ledger.find(request.id("FileUploadID"));
    if (!upload)
        throw RequestError("UnknownUpload", "there is no upload " + request.text("FileUploadID"));
    return std::move(*upload);
}

Upload requirePending(OutboxLedger& ledger, const Record& request) {
    Upload upload = requireUpload(ledger, request);
    if (!upload.pending)
        throw RequestError("NotPending", "upload " + std::to_string(upload.id) + " is no longer pending");
    return upload;
}

} // namespace

boost::json::object getTopFileUpload(const Record& request, OutboxQueue& queue) {
    const auto upload = queue.offerNext(request.text("ToComputerID"));
    if (!upload)
        return nothing();
    boost::json::object response = success();
    response["Attachment"] = nullptr;
    for (const auto& [key, value] : fieldsOf(*upload))
        response[key] = value;
    response["error"] = nullptr;
    return response;
}

Response getTopFileUploadWithStream(const Record& request, OutboxQueue& queue, OutboxLedger& ledger) {
    const std::string computer = request.text("ToComputerID");
    const auto offset = decimal(request.optional("Length").value_or("0"));
    if (!offset)
        throw RequestError("BadLength", "\"Length\" is not a number of bytes");
    const auto upload = queue.current(computer);
    if (!upload || !upload->pending)
        return streamResponse("2");
    return upload->isFile ? streamFile(*upload, static_cast<std::uint64_t>(*offset), queue, ledger)
                          : itemResponse(*upload);
}

Response downloadError(const RequestError& error) {
    Response response = streamResponse(error.status() >= 500 ? "2" : "1");
    response.status = error.status();
    response.headers.emplace_back("Error", printable(error.code() + ": " + error.what()));
    return response;
}

boost::json::object updateFileUpload(const Record& request, OutboxLedger& ledger) {
    const Upload upload = requireUpload(ledger, request);
    if (const auto name = request.optional("FileName"); name && *name != upload.name)
        logLine("upload " + std::to_string(upload.id) + " is " + upload.name + ", but acknowledged as " + *name);
    ledger.acknowledge(upload);
    return done();
}

boost::json::object updateBSUploadStreamStarted(const Record& request, OutboxLedger& ledger) {
    ledger.offer(requirePending(ledger, request));
    return done();
}

boost::json::object updateBSUploadStreamFailed(const Record& request, OutboxLedger& ledger) {
    const Upload upload = requirePending(ledger, request);
    ledger.postpone(upload);
    ledger.clearOffer(upload.computer);
    return done();
}

} // namespace webservice
