#include "WebService/Operations/Uploads.h"

#include "WebService/Common/Log.h"

#include <algorithm>
#include <array>
#include <utility>

namespace webservice {

namespace {

using Fields = std::array<std::pair<std::string_view, std::string>, 7>;

/// The item as it is told in an answer's keys and in a stream's header fields.
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

Response streamFile(State& state, const Upload& upload, std::uint64_t offset) {
    FileSlice slice{.file = state.queue.openFile(upload), .offset = offset, .length = 0, .identity = {}};
    struct stat status {};
    if (!slice.file || ::fstat(slice.file.get(), &status) != 0) {
        state.ledger.forgetOffer(upload.computer);
        return streamResponse("2");
    }
    slice.identity = identityOf(status);
    if (offset > slice.identity.size || (offset > 0 && upload.tainted)) {
        logLine("upload " + std::to_string(upload.id) + " of computer " + upload.computer + " cannot go on at byte " +
                std::to_string(offset) + (upload.tainted ? ", which counts an earlier content" : ", beyond its end") +
                "; it goes behind the others. Remove " + upload.name + " from the computer's temporary area.");
        state.ledger.postpone(upload);
        state.ledger.forgetOffer(upload.computer);
        return streamResponse("2");
    }
    Response response = itemResponse(upload);
    slice.length = slice.identity.size - offset;
    if (slice.length > 0) {
        state.ledger.sending(upload, offset == 0);
        response.file = std::move(slice);
    }
    return response;
}

Upload requireUpload(State& state, const Record& request) {
    auto upload = state.ledger.find(request.id("FileUploadID"));
    if (!upload)
        throw Refusal("UnknownUpload", "there is no upload " + request.text("FileUploadID"));
    return std::move(*upload);
}

Upload requirePending(State& state, const Record& request) {
    Upload upload = requireUpload(state, request);
    if (!upload.pending)
        throw Refusal("NotPending", "upload " + std::to_string(upload.id) + " is no longer pending");
    return upload;
}

} // namespace

boost::json::object getTopFileUpload(State& state, const Record& request) {
    const auto upload = state.queue.offerTop(request.text("ToComputerID"));
    if (!upload)
        return nothing();
    boost::json::object answer = success();
    answer["Attachment"] = nullptr;
    for (const auto& [key, value] : fieldsOf(*upload))
        answer[key] = value;
    answer["error"] = nullptr;
    return answer;
}

Response getTopFileUploadWithStream(State& state, const Record& request) {
    const std::string computer = request.text("ToComputerID");
    const auto offset = decimal(request.optional("Length").value_or("0"));
    if (!offset)
        throw Refusal("BadLength", "\"Length\" is not a number of bytes");
    const auto upload = state.queue.current(computer);
    if (!upload || !upload->pending)
        return streamResponse("2");
    return upload->isFile ? streamFile(state, *upload, static_cast<std::uint64_t>(*offset)) : itemResponse(*upload);
}

Response refusedDownload(Response refusal) {
    if (std::ranges::find(refusal.headers, "ReturnStatus", &std::pair<std::string, std::string>::first) !=
        refusal.headers.end())
        return refusal;
    Response response = streamResponse(refusal.status >= 500 ? "2" : "1");
    response.status = refusal.status;
    boost::json::error_code none;
    const boost::json::value body = boost::json::parse(refusal.body, none);
    const auto* code = body.find_pointer("/error/code", none);
    const auto* message = body.find_pointer("/error/message", none);
    if (code != nullptr && message != nullptr && code->is_string() && message->is_string()) {
        const std::string error = std::string(code->get_string()) + ": " + std::string(message->get_string());
        response.headers.emplace_back("Error", printable(error));
    }
    return response;
}

boost::json::object updateFileUpload(State& state, const Record& request) {
    const Upload upload = requireUpload(state, request);
    if (const auto name = request.optional("FileName"); name && *name != upload.name)
        logLine("upload " + std::to_string(upload.id) + " is " + upload.name + ", but acknowledged as " + *name);
    state.ledger.acknowledge(upload);
    return done();
}

boost::json::object updateBSUploadStreamStarted(State& state, const Record& request) {
    state.ledger.offer(requirePending(state, request));
    return done();
}

boost::json::object updateBSUploadStreamFailed(State& state, const Record& request) {
    const Upload upload = requirePending(state, request);
    state.ledger.postpone(upload);
    state.ledger.forgetOffer(upload.computer);
    return done();
}

} // namespace webservice
