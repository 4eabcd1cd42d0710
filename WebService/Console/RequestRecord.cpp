#include "WebService/Console/RequestRecord.h"

#include "WebService/Common/Log.h"
#include "WebService/Operations/Record.h"
#include "WebService/Operations/Uploads.h"

#include <boost/beast/core/string.hpp>

#include <algorithm>

namespace webservice {

namespace {

constexpr std::string_view lineEnd = "\r\n";

std::string headerLines(const Request& request) {
    std::string lines;
    for (const auto& [name, value] : request.headers)
        lines.append(name).append(": ").append(value).append(lineEnd);
    return lines;
}

std::string valueOf(const Response& response, std::string_view name) {
    const auto field = std::ranges::find_if(
        response.headers, [&](const auto& entry) { return boost::beast::iequals(entry.first, name); });
    return field == response.headers.end() ? std::string() : field->second;
}

/// Removes a last character of which not all bytes are there (RFC 3629).
void removeIncompleteEnd(std::string& text) {
    constexpr std::size_t longest = 4;
    for (std::size_t back = 1; back < longest && back <= text.size(); ++back) {
        const auto byte = static_cast<unsigned char>(text[text.size() - back]);
        if ((byte & 0xc0) == 0x80)
            continue;
        const std::size_t length = byte >= 0xf0 ? 4 : byte >= 0xe0 ? 3 : byte >= 0xc0 ? 2 : 1;
        if (length > back)
            text.resize(text.size() - back);
        return;
    }
}

} // namespace

std::vector<std::pair<std::string, std::string>> headerFields(std::string_view lines) {
    constexpr std::string_view separator = ": ";
    std::vector<std::pair<std::string, std::string>> fields;
    while (!lines.empty()) {
        const std::string_view line = lines.substr(0, lines.find(lineEnd));
        lines.remove_prefix(std::min(line.size() + lineEnd.size(), lines.size()));
        if (const std::size_t end = line.find(separator); end != std::string_view::npos)
            fields.emplace_back(line.substr(0, end), line.substr(end + separator.size()));
    }
    return fields;
}

RequestRecord::RequestRecord(Console& console, const Request& request, const std::string& peer,
                             std::string_view operation)
    : console_(console) {
    entry_.time = timestamp();
    entry_.peer = peer;
    keep(entry_.method, request.method);
    entry_.operation = operation;
    keep(entry_.target, request.target);
    keep(entry_.request.header, headerLines(request));
}

RequestRecord::~RequestRecord() {
    endStream();
    console_.journal.release(entry_.memory());
}

/// A text that there is no room for is not kept.
void RequestRecord::keep(std::string& text, std::string_view bytes) {
    if (console_.journal.reserve(bytes.size()))
        text += bytes;
}

void RequestRecord::keepBody(KeptMessage& message, std::string_view bytes) {
    // Once a piece is missing, no later one is kept.
    if (message.body.size() == message.size)
        keep(message.body, bytes.substr(0, RequestJournal::maxBody - message.body.size()));
    message.size += bytes.size();
}

void RequestRecord::received(std::string_view piece) {
    keepBody(entry_.request, piece);
}

void RequestRecord::responding(const Response& response, std::string_view header, bool hasNoBody,
                               const RequestProgress& progress) {
    entry_.fault = response.fault;
    keep(entry_.response.header, header);
    if (hasNoBody)
        return;
    if (response.file)
        entry_.response.size = response.file->length;
    else
        keepBody(entry_.response, response.body);
    if (entry_.operation == downloadPath && response.file)
        beginStream(response, header.size(), progress);
}

void RequestRecord::beginStream(const Response& response, std::size_t headerSize, const RequestProgress& progress) {
    Stream stream;
    stream.item = decimal(valueOf(response, "FileUploadID")).value_or(0);
    stream.computer = valueOf(response, "ToComputerID");
    stream.name = valueOf(response, "FileName");
    stream.offset = response.file->offset;
    stream.length = response.file->length;
    stream.progress = &progress;
    stream.sentBefore = progress.sent() + headerSize;
    stream_ = console_.streams.add(std::move(stream));
    console_.events.streamBegan();
}

void RequestRecord::endStream() {
    if (stream_)
        console_.streams.remove(*stream_);
    stream_.reset();
}

void RequestRecord::ended(const RequestProgress& progress) {
    endStream();
    entry_.status = progress.status;
    entry_.isComplete = progress.isComplete;
    entry_.bytes = progress.sent();
    entry_.milliseconds = static_cast<double>(static_cast<std::int64_t>(progress.time().count() * 1000)) / 1000;
    for (KeptMessage* message : {&entry_.request, &entry_.response}) {
        const std::size_t before = message->body.size();
        if (before < message->size)
            removeIncompleteEnd(message->body);
        console_.journal.release(before - message->body.size());
        message->body.shrink_to_fit();
    }
    try {
        console_.ended(std::exchange(entry_, {}));
    } catch (const std::exception& error) {
        logLine(std::string("a request is not in the console: ") + error.what());
    }
}

} // namespace webservice
