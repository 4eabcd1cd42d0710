#include "WebService/Console/Console.h"

#include "WebService/Common/Log.h"
#include "WebService/Common/WireName.h"
#include "WebService/Console/Page.h"
#include "WebService/Console/RequestRecord.h"
#include "WebService/Operations/JsonBody.h"
#include "WebService/Operations/RequestComputer.h"

#include <algorithm>
#include <limits>
#include <utility>

namespace webservice {

namespace {

constexpr std::size_t maxShownTarget = 4096;
constexpr std::size_t maxComputer = 255; // bytes of a computer's name, which is that of a folder

/// The first header fields are those of the request.
Request requestOf(const JournalEntry& entry) {
    Request request;
    request.method = entry.method;
    request.target = entry.target;
    request.headers = headerFields(entry.request.header);
    return request;
}

/// A body that was not kept as a whole tells nothing.
std::optional<std::string> findComputer(Database& db, const JournalEntry& entry) {
    const Request request = requestOf(entry);
    if (entry.operation.empty()) {
        const std::string_view path = request.path();
        if (!path.starts_with(outboxRoot))
            return std::nullopt;
        const auto computer =
            percentDecoded(path.substr(outboxRoot.size(), path.find('/', outboxRoot.size()) - outboxRoot.size()));
        return computer && isUtf8(*computer) && computer->size() <= maxComputer ? computer : std::nullopt;
    }
    JsonBody body;
    body.receive(entry.request.body);
    const boost::json::value* value = nullptr;
    try {
        value = entry.request.body.empty() || entry.request.body.size() < entry.request.size ? nullptr : &body.value();
    } catch (const RequestError&) {
        // The operation refused this body.
    }
    const auto computer = computerOf(db, request, value);
    return computer && computer->size() <= maxComputer ? std::optional(textOf(*computer)) : std::nullopt;
}

boost::json::value numberOrNull(const std::optional<std::size_t>& number) {
    return number ? boost::json::value(*number) : boost::json::value();
}

} // namespace

bool isConsolePath(std::string_view path) {
    return path.starts_with("/api/") || isConsoleFilePath(path);
}

std::string textOf(std::string_view bytes) {
    if (isUtf8(bytes))
        return std::string(bytes);
    std::string text;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80) {
            text += c;
        } else {
            text += static_cast<char>(0xc0 | (byte >> 6));
            text += static_cast<char>(0x80 | (byte & 0x3f));
        }
    }
    return text;
}

std::unique_ptr<RequestRecorder> Console::record(const Request& request, const std::string& peer,
                                                 std::string_view operation) {
    const bool isPageReading = request.method == "GET" && request.header("Quenmark-Console");
    if (isConsolePath(request.path()) || isPageReading)
        return nullptr;
    return std::make_unique<RequestRecord>(*this, request, peer, operation);
}

boost::json::object Console::summary(JournalEntry& entry) {
    if (!entry.computer) {
        try {
            entry.computer = findComputer(db_, entry);
        } catch (const DatabaseError& error) {
            logLine(std::string("the console does not know the computer of a request: ") + error.what());
            entry.computer.emplace(std::nullopt);
        }
    }
    return {{"id", entry.id},
            {"time", entry.time},
            {"peer", entry.peer},
            {"method", textOf(entry.method)},
            {"path", textOf(std::string_view(entry.target).substr(0, maxShownTarget))},
            {"operation", entry.operation.empty() ? boost::json::value() : boost::json::value(entry.operation)},
            {"computer", *entry.computer ? boost::json::value(**entry.computer) : boost::json::value()},
            {"status", entry.status},
            {"bytes", entry.bytes},
            {"milliseconds", entry.milliseconds},
            {"complete", entry.isComplete},
            {"fault", numberOrNull(entry.fault)}};
}

void Console::ended(JournalEntry entry) {
    const bool countsFaults = !entry.operation.empty() && !plan_.isEmpty();
    const JournalEntry& added = journal.add(std::move(entry));
    if (!events.hasReaders())
        return;
    unreported_.push_back(added.id);
    showEnded();
    if (countsFaults)
        events.changed("faults");
}

/// A request's computer is looked up in the database, outside of transactions that may be rolled back.
void Console::showEnded() {
    if (db_.isInTransaction())
        return;
    for (const std::int64_t id : std::exchange(unreported_, {})) {
        if (JournalEntry* const entry = journal.find(id))
            events.push("request", boost::json::serialize(summary(*entry)));
    }
}

/// After a rollback, cached computers are looked up again.
void Console::changesEnded(bool areStored) {
    constexpr std::int64_t last = std::numeric_limits<std::int64_t>::max();
    for (JournalEntry* entry = areStored ? nullptr : journal.before(last); entry != nullptr;
         entry = journal.before(entry->id))
        entry->computer.reset();
    try {
        showEnded();
    } catch (const std::exception& error) {
        logLine(std::string("a request cannot be reported to the console: ") + error.what());
    }
}

} // namespace webservice
