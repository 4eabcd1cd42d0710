#pragma once

#include "Platform/Loop/Queue.h"

#include <list>
#include <memory>
#include <utility>

namespace Platform::Ipc {

/// What a connection has received and not handled yet. Events are handled on the connection's queue, in the order in
/// which they came, and only while the mailbox is open; it starts closed. A task that is about to handle events keeps
/// the mailbox alive; pending events of a closed mailbox are dropped with it.
template <class Event>
class Mailbox : public std::enable_shared_from_this<Mailbox<Event>> {
public:
    virtual ~Mailbox() = default;
    Mailbox(const Mailbox&) = delete;
    Mailbox& operator=(const Mailbox&) = delete;

protected:
    explicit Mailbox(Queue queue) : queue_(std::move(queue)) {}

    virtual void handle(Event event) = 0;

    void post(Event event) {
        events_.push_back(std::move(event));
        schedule();
    }
    void setOpen(bool open) {
        open_ = open;
        schedule();
    }
    /// Removes and returns the events that have not been handled.
    std::list<Event> takeEvents() { return std::exchange(events_, {}); }

    const Queue& queue() const { return queue_; }
    /// Events that no task on the old queue handles yet are handled on the new one.
    void setQueue(Queue queue) { queue_ = std::move(queue); }

private:
    void schedule() {
        if (!open_ || scheduled_ || events_.empty())
            return;
        scheduled_ = true;
        queue_.async([self = this->shared_from_this()] { self->handleEvents(); });
    }

    void handleEvents() {
        scheduled_ = false;
        while (open_ && !events_.empty()) {
            Event event = std::move(events_.front());
            events_.pop_front();
            try {
                handle(std::move(event));
            } catch (...) {
                schedule();
                throw;
            }
        }
    }

    Queue queue_;
    std::list<Event> events_; // takes no memory while it is empty, as it is nearly always
    bool open_ = false;
    bool scheduled_ = false;
};

} // namespace Platform::Ipc
