#pragma once

#include "Platform/Loop/Queue.h"

#include <any>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace Platform {

/// What is posted: a name, and the object it is about.
struct Notification {
    std::string name;
    std::any object;
};

/// Delivers each notification to the observers of its name. Used on the loop's thread.
class NotificationCenter {
public:
    using Handler = std::function<void(const Notification&)>;

    NotificationCenter() = default;
    NotificationCenter(const NotificationCenter&) = delete;
    NotificationCenter& operator=(const NotificationCenter&) = delete;

    /// Ends its registration when it is destroyed; its pending notifications are then dropped.
    class Observer {
        struct Registration;
        using Registry = std::multimap<std::string, std::weak_ptr<Registration>>;
        friend class NotificationCenter;

    public:
        /// For `addObserver` alone.
        explicit Observer(std::shared_ptr<Registration> registration);
        Observer(const Observer&) = delete;
        Observer& operator=(const Observer&) = delete;
        ~Observer();

    private:
        std::shared_ptr<Registration> registration_;
    };

    /// The center of this process.
    static NotificationCenter& defaultCenter();

    /// Calls `handler` for every notification of that name: on `queue` where one is given, else before `post`
    /// returns.
    [[nodiscard]] std::unique_ptr<Observer> addObserver(std::string name, std::optional<Queue> queue, Handler handler);

    /// Delivers the notification to the observers of its name in the order in which they registered.
    void post(const std::string& name, std::any object);

private:
    // Held by registrations too, weakly: an observer may outlive its center.
    std::shared_ptr<Observer::Registry> registry_ = std::make_shared<Observer::Registry>();
};

} // namespace Platform
