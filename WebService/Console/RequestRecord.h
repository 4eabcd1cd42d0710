#pragma once

#include "WebService/Console/Console.h"

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace webservice {

/// Notes one request, and the download that it is, if any.
class RequestRecord : public RequestRecorder {
public:
    RequestRecord(Console& console, const Request& request, const std::string& peer, std::string_view operation);
    ~RequestRecord() override;

    void received(std::string_view piece) override;
    void responding(const Response& response, std::string_view header, bool hasNoBody,
                    const RequestProgress& progress) override;
    void ended(const RequestProgress& progress) override;

private:
    void keep(std::string& text, std::string_view bytes);
    void keepBody(KeptMessage& message, std::string_view bytes);
    void beginStream(const Response& response, std::size_t headerSize, const RequestProgress& progress);
    void endStream();

    Console& console_;
    JournalEntry entry_;
    std::optional<Streams::Handle> stream_;
};

/// The names and values of the header fields in a text of lines; a line without a name is passed over.
std::vector<std::pair<std::string, std::string>> headerFields(std::string_view lines);

} // namespace webservice
