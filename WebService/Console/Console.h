#pragma once

#include "WebService/Common/Log.h"
#include "WebService/Console/Events.h"
#include "WebService/Console/RequestJournal.h"
#include "WebService/Console/Streams.h"
#include "WebService/Faults/FaultPlan.h"
#include "WebService/Http/Request.h"
#include "WebService/Http/RequestRecorder.h"
#include "WebService/Storage/Database.h"

#include <boost/json.hpp>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace webservice {

/// What the console knows beside the state: the last requests, the downloads that are being sent, and who reads the
/// events.
class Console {
public:
    Console(Database& db, const FaultPlan& plan, std::string version)
        : db_(db), plan_(plan), version_(std::move(version)) {}

    /// What notes a request in the journal; null for one of the console itself, by its path or, for GET, by the
    /// header field "Quenmark-Console", which the page sends. `operation` is its path, empty where the request is for
    /// none.
    std::unique_ptr<RequestRecorder> record(const Request& request, const std::string& peer,
                                            std::string_view operation);

    /// A request as the lists show it.
    boost::json::object summary(JournalEntry& entry);

    /// A transaction was committed (`areStored`) or rolled back.
    void changesEnded(bool areStored);

    const std::string& version() const { return version_; }
    const std::string& startTime() const { return startTime_; }

private:
    friend class RequestRecord;
    void ended(JournalEntry entry);
    void showEnded();

    Database& db_;
    const FaultPlan& plan_;
    std::string version_;
    std::string startTime_ = timestamp();
    std::vector<std::int64_t> unreported_; // ended requests not yet sent to the event readers

public:
    RequestJournal journal;
    Streams streams;
    Events events{db_, streams};
};

/// Whether the path is one of the console.
bool isConsolePath(std::string_view path);

/// The text as UTF-8; of one that is not, every byte stands for the character of its number.
std::string textOf(std::string_view bytes);

} // namespace webservice
