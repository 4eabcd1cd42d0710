#pragma once

#include "WebService/Http/EventSource.h"

#include <cstddef>
#include <deque>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace webservice {

class Events;

/// One reader of the events. Events about changes are made when they are sent: at most four times a second, however
/// much changes, and never about what a transaction could still undo. When more than 256 KiB wait to be sent, they are
/// dropped for one event "lost".
class EventReader : public EventSource {
public:
    static constexpr std::size_t maxUnsent = 256 << 10;

    explicit EventReader(Events& events, Clock::time_point now = Clock::now());
    ~EventReader() override;

    std::string take(Clock::time_point now) override;
    Clock::duration idleTime(Clock::time_point now) const override;

    /// Adds an event, with the JSON text of its data.
    void push(std::string_view name, std::string_view data);

    /// A table has changed.
    void changed(std::string_view table);

    /// The queue of the item's computer has changed.
    void itemChanged(std::int64_t item);

    /// A download has begun.
    void streamBegan() { wake(); }

private:
    bool isPending() const;
    void markPending();
    void makeEvents();
    void makeComputersEvent();

    Events& events_;
    Clock::time_point lastMade_;
    Clock::time_point lastSent_;
    std::deque<std::string> unsent_;
    /// With what was taken last.
    std::size_t unsentSize_ = 0;
    std::size_t takenSize_ = 0;
    std::set<std::string, std::less<>> tables_;
    std::set<std::int64_t> items_;
    /// Whether there are more items than are remembered.
    bool hasManyItems_ = false;
    bool hadStreams_ = false;
};

/// An event as it is sent.
std::string eventText(std::string_view name, std::string_view data);

} // namespace webservice
