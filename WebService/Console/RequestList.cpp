#include "WebService/Console/RequestList.h"

#include "WebService/Common/WireName.h"
#include "WebService/Console/CallCommand.h"
#include "WebService/Console/RequestRecord.h"
#include "WebService/Console/ShellCommand.h"

#include <algorithm>
#include <limits>

namespace webservice {

namespace {

constexpr std::size_t maxSearch = 256; // in bytes; each costs time where texts repeat themselves

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
}

bool contains(std::string_view text, std::string_view lowerCase) {
    const auto isEqual = [](char inText, char wanted) { return lower(inText) == wanted; };
    return lowerCase.empty() ||
           std::search(text.begin(), text.end(), lowerCase.begin(), lowerCase.end(), isEqual) != text.end();
}

std::string lowerCase(std::string text) {
    std::ranges::transform(text, text.begin(), lower);
    return text;
}

bool matches(Console& console, JournalEntry& entry, std::string_view search) {
    if (search.empty() || contains(entry.target, search) || contains(entry.operation, search) ||
        contains(std::to_string(entry.status), search) || contains(entry.request.body, search) ||
        contains(entry.response.body, search))
        return true;
    const boost::json::object summary = console.summary(entry);
    const boost::json::value& computer = summary.at("computer");
    return computer.is_string() && contains(computer.get_string(), search);
}

/// A body that was cut is a text where what is there of it is one.
boost::json::object messageJson(const KeptMessage& message, std::string_view headerLines) {
    boost::json::array headers;
    for (const auto& [name, value] : headerFields(headerLines))
        headers.push_back({textOf(name), textOf(value)});
    const bool isText = isUtf8(message.body) && message.body.find('\0') == std::string::npos &&
                        (message.size == 0 || !message.body.empty());
    return {{"headers", std::move(headers)},
            {"body", isText ? boost::json::value(message.body) : boost::json::value()},
            {"bodySize", message.size},
            {"bodyKept", message.body.size()}};
}

/// The header fields behind the status line.
std::string_view withoutStatusLine(std::string_view header) {
    const std::size_t end = header.find('\n');
    return end == std::string_view::npos ? std::string_view() : header.substr(end + 1);
}

} // namespace

Work<Response> listRequests(ApiParts parts, ApiCall call) {
    const auto limit = static_cast<std::size_t>(call.limit());
    const std::string search = lowerCase(call.parameter("search").value_or(""));
    if (search.size() > maxSearch)
        throw RequestError("BadQuery", "\"search\" is longer than 256 bytes", 400);
    std::int64_t id = call.number("after").value_or(std::numeric_limits<std::int64_t>::max());
    boost::json::array list;
    boost::json::value next;
    RequestJournal& journal = parts.console.journal;
    while (JournalEntry* entry = journal.before(id)) {
        if (list.size() == limit) {
            next = id;
            break;
        }
        id = entry->id;
        if (matches(parts.console, *entry, search))
            list.push_back(parts.console.summary(*entry));
        co_await pause();
    }
    co_return listResponse("requests", std::move(list), std::move(next));
}

Work<Response> showRequest(ApiParts parts, ApiCall call) {
    JournalEntry* entry = parts.console.journal.find(call.id("UnknownRequest"));
    if (entry == nullptr)
        throw RequestError("UnknownRequest", "there is no request of this identifier, or not any more", 404);
    boost::json::object all = parts.console.summary(*entry);
    all["request"] = messageJson(entry->request, entry->request.header);
    all["response"] = messageJson(entry->response, withoutStatusLine(entry->response.header));
    const auto orNull = [](const std::optional<std::string>& text) {
        return text ? boost::json::value(textOf(*text)) : boost::json::value();
    };
    all["curl"] = orNull(curlCommand(*entry, call.address));
    all["call"] = orNull(callCommand(*entry));
    co_return jsonResponse(200, boost::json::serialize(all));
}

Work<Response> forgetRequests(ApiParts parts, ApiCall) {
    parts.console.journal.clear();
    parts.console.events.push("forgotten", "{}");
    co_return jsonResponse(200, "{}");
}

} // namespace webservice
