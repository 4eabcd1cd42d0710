#include "Platform/Loop/NotificationCenter.h"

#include <utility>
#include <vector>

namespace Platform {

struct NotificationCenter::Observer::Registration {
    std::weak_ptr<Registry> registry;
    Registry::iterator place;
    std::optional<Queue> queue;
    Handler handler;

    Registration() = default;
    Registration(const Registration&) = delete;
    Registration& operator=(const Registration&) = delete;
    ~Registration() {
        if (const auto holder = registry.lock())
            holder->erase(place);
    }
};

NotificationCenter::Observer::Observer(std::shared_ptr<Registration> registration)
    : registration_(std::move(registration)) {}

NotificationCenter::Observer::~Observer() = default;

NotificationCenter& NotificationCenter::defaultCenter() {
    static NotificationCenter center;
    return center;
}

std::unique_ptr<NotificationCenter::Observer>
NotificationCenter::addObserver(std::string name, std::optional<Queue> queue, Handler handler) {
    auto registration = std::make_shared<Observer::Registration>();
    registration->queue = std::move(queue);
    registration->handler = std::move(handler);
    // Equal keys keep the order in which they came.
    registration->place = registry_->emplace(std::move(name), registration);
    registration->registry = registry_;
    return std::make_unique<Observer>(std::move(registration));
}

void NotificationCenter::post(const std::string& name, std::any object) {
    const auto notification = std::make_shared<const Notification>(Notification{name, std::move(object)});
    // Handlers may add and end registrations; those that end before their turn are skipped.
    std::vector<std::weak_ptr<Observer::Registration>> addressees;
    const auto [first, last] = registry_->equal_range(name);
    for (auto entry = first; entry != last; ++entry)
        addressees.push_back(entry->second);
    for (const auto& addressee : addressees) {
        const auto registration = addressee.lock();
        if (!registration)
            continue;
        if (!registration->queue) {
            registration->handler(*notification);
            continue;
        }
        registration->queue->async([addressee, notification] {
            if (const auto alive = addressee.lock())
                alive->handler(*notification);
        });
    }
}

} // namespace Platform
