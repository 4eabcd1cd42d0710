#include "WebService/Console/EventReader.h"

#include "WebService/Common/Log.h"
#include "WebService/Console/Events.h"

#include <boost/json.hpp>

#include <algorithm>

namespace webservice {

namespace {

using namespace std::chrono_literals;

constexpr auto makeInterval = 250ms;
constexpr auto commentInterval = 15s;
constexpr auto transactionInterval = 1ms; // between two looks at changes that are not stored yet
constexpr std::size_t pieceSize = 16384;  // about what is sent at once
constexpr std::size_t maxItems = 1000;    // that are remembered one by one

} // namespace

std::string eventText(std::string_view name, std::string_view data) {
    return std::string("event: ").append(name).append("\ndata: ").append(data).append("\n\n");
}

EventReader::EventReader(Events& events, Clock::time_point now)
    : events_(events), lastMade_(now - makeInterval), lastSent_(now) {
    events_.add(*this);
}

EventReader::~EventReader() {
    events_.remove(*this);
}

void EventReader::push(std::string_view name, std::string_view data) {
    std::string event = eventText(name, data);
    if (unsentSize_ + event.size() > maxUnsent) {
        unsent_.clear();
        unsentSize_ = takenSize_;
        event = eventText("lost", "{}");
    }
    unsentSize_ += event.size();
    unsent_.push_back(std::move(event));
    wake();
}

void EventReader::changed(std::string_view table) {
    if (!tables_.contains(table)) {
        markPending();
        tables_.emplace(table);
    }
}

void EventReader::itemChanged(std::int64_t item) {
    if (hasManyItems_)
        return;
    markPending();
    items_.insert(item);
    hasManyItems_ = items_.size() > maxItems;
}

/// The reader waits until the next events may be made only once it knows that there will be some.
void EventReader::markPending() {
    if (!isPending())
        wake();
}

bool EventReader::isPending() const {
    return hadStreams_ || !events_.streams().isEmpty() || !tables_.empty() || !items_.empty();
}

EventReader::Clock::duration EventReader::idleTime(Clock::time_point now) const {
    auto next = lastSent_ + commentInterval;
    if (isPending()) {
        const auto soonest = events_.areChangesStored() ? now : now + transactionInterval;
        next = std::min(next, std::max(lastMade_ + makeInterval, soonest));
    }
    return std::max(next - now, Clock::duration::zero());
}

std::string EventReader::take(Clock::time_point now) {
    unsentSize_ -= takenSize_;
    if (isPending() && now - lastMade_ >= makeInterval && events_.areChangesStored()) {
        lastMade_ = now;
        makeEvents();
    }
    if (unsent_.empty() && now - lastSent_ >= commentInterval) {
        unsent_.emplace_back(":\n\n");
        unsentSize_ += unsent_.back().size();
    }
    std::string piece;
    while (!unsent_.empty() && (piece.empty() || piece.size() + unsent_.front().size() <= pieceSize)) {
        piece += unsent_.front();
        unsent_.pop_front();
    }
    takenSize_ = piece.size();
    if (!piece.empty())
        lastSent_ = now;
    return piece;
}

void EventReader::makeEvents() {
    const bool hasStreams = !events_.streams().isEmpty();
    if (hasStreams || hadStreams_)
        push("streams", boost::json::serialize(events_.streams().json(Clock::now())));
    hadStreams_ = hasStreams;
    if (!items_.empty())
        makeComputersEvent();
    if (!tables_.empty()) {
        const boost::json::array names(tables_.begin(), tables_.end());
        push("changed", boost::json::serialize(boost::json::object{{"tables", names}}));
        tables_.clear();
    }
}

void EventReader::makeComputersEvent() {
    try {
        if (const auto computers = events_.computersOf(items_, hasManyItems_))
            push("computers", boost::json::serialize(boost::json::object{
                                  {"computers", boost::json::array(computers->begin(), computers->end())}}));
        else
            push("lost", "{}");
    } catch (const std::exception& error) {
        logLine(std::string("changed queues cannot be reported to the console: ") + error.what());
        push("lost", "{}");
    }
    items_.clear();
    hasManyItems_ = false;
}

} // namespace webservice
