#pragma once

#include "WebService/Console/EventReader.h"
#include "WebService/Console/Streams.h"
#include "WebService/Storage/Database.h"

#include <memory>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace webservice {

/// The events of the console. While nobody reads them, nothing is done for them.
class Events {
public:
    static constexpr std::size_t maxReaders = 16;

    Events(Database& db, Streams& streams) : db_(db), streams_(streams) {}
    Events(const Events&) = delete;
    Events& operator=(const Events&) = delete;
    ~Events() = default;

    bool hasReaders() const { return !readers_.empty(); }

    /// A new reader, whose first event has the version. Null when the limit of readers is reached.
    std::shared_ptr<EventReader> open(std::string_view version);

    void push(std::string_view name, std::string_view data);
    void changed(std::string_view table);
    void streamBegan();

    Streams& streams() { return streams_; }

    /// Whether no transaction is open, which could still undo changes.
    bool areChangesStored() const { return !db_.isInTransaction(); }

    /// The computers of these items, in order; with `areMany`, all that have items. None where they are too many to be
    /// listed.
    std::optional<std::set<std::string>> computersOf(const std::set<std::int64_t>& items, bool areMany);

private:
    friend class EventReader;
    void add(EventReader& reader);
    void remove(EventReader& reader);
    void rowChanged(std::string_view table, std::int64_t row);

    Database& db_;
    Streams& streams_;
    std::vector<EventReader*> readers_;
};

} // namespace webservice
