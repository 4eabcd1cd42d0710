#include "WebService/Console/RequestJournal.h"

#include <utility>

namespace webservice {

bool RequestJournal::reserve(std::size_t bytes) {
    while (memory_ + bytes > maxMemory && giveUpBody()) {
    }
    while (memory_ + bytes > maxMemory && !entries_.empty())
        removeOldest();
    if (memory_ + bytes > maxMemory)
        return false;
    memory_ += bytes;
    return true;
}

/// Gives up the bodies of the oldest request that has some; false where none has.
bool RequestJournal::giveUpBody() {
    for (; firstWithBody_ <= lastId_; ++firstWithBody_) {
        JournalEntry* entry = find(firstWithBody_);
        if (entry == nullptr || entry->request.body.size() + entry->response.body.size() == 0)
            continue;
        for (KeptMessage* message : {&entry->request, &entry->response})
            release(std::exchange(message->body, {}).size());
        return true;
    }
    return false;
}

void RequestJournal::removeOldest() {
    release(entries_.front().memory());
    entries_.pop_front();
}

JournalEntry& RequestJournal::add(JournalEntry entry) {
    if (entries_.size() == maxEntries)
        removeOldest();
    entry.id = ++lastId_;
    return entries_.emplace_back(std::move(entry));
}

JournalEntry* RequestJournal::find(std::int64_t id) {
    if (entries_.empty() || id < entries_.front().id || id > lastId_)
        return nullptr;
    return &entries_[static_cast<std::size_t>(id - entries_.front().id)];
}

JournalEntry* RequestJournal::before(std::int64_t id) {
    return id > lastId_ ? find(lastId_) : find(id - 1);
}

void RequestJournal::clear() {
    while (!entries_.empty())
        removeOldest();
}

} // namespace webservice
