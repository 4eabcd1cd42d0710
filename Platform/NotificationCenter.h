#pragma once

#include "Platform/Queue.h"

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

/// Hands notifications from whoever posts them to whoever observes their name. Used on the loop's thread.
class NotificationCenter {
public:
    using Handler = std::function<void(const Notification&)>;

    /// Ends its registration when it is destroyed; a notification on its way to the handler is then dropped.
    class Observer {
    public:
        ~Observer();

    private:
        friend class NotificationCenter;
        struct Registration;
        explicit Observer(std::shared_ptr<Registration> registration);
        std::shared_ptr<Registration> registration_;
    };

    /// The center of this process.
    static NotificationCenter& defaultCenter();

    /// Calls `handler` for every notification of that name: on `queue` where one is given, else before `post`
    /// returns.
    [[nodiscard]] std::unique_ptr<Observer> addObserver(std::string name, std::optional<Queue> queue, Handler handler);

    /// Hands the notification to the observers of its name in the order in which they registered.
    void post(const std::string& name, std::any object);

private:
    std::multimap<std::string, std::weak_ptr<Observer::Registration>> observers_;
};

} // namespace Platform
