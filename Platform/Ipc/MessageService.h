#pragma once

#include "Platform/Ipc/BusService.h"
#include "Platform/Ipc/Endpoint.h"
#include "Platform/Ipc/MessageConnection.h"

#include <functional>
#include <memory>

namespace Platform::Ipc {

/// A service that exchanges messages under a well-known name on the session bus. Each peer, which is one unique name
/// on the bus, is one connection. Used on the loop's thread.
class MessageService {
public:
    /// Called on the main queue with the connection of each peer that sends anything to the service's object. The
    /// connection is suspended; it handles nothing before the main queue has run what the handler queued there. The
    /// service keeps it until its peer has left the bus.
    using ConnectionHandler = std::function<void(const std::shared_ptr<MessageConnection>& connection)>;

    MessageService(const MessageAddress& address, ConnectionHandler handler);
    /// Disconnects from the bus. What its connections have received is still handled.
    ~MessageService();
    MessageService(const MessageService&) = delete;
    MessageService& operator=(const MessageService&) = delete;

    /// As `BusService::publish`.
    void publish(std::shared_ptr<PropertyObject> object);
    /// As `BusService::setEndHandler`; every connection has received its error by then.
    void setEndHandler(BusService::EndHandler handler);
    /// Connects to the session bus and claims the name. To be called once.
    void resume();
    /// Every connection receives the error that the process is about to end.
    void announceTermination();

private:
    struct State;
    std::shared_ptr<State> state_;
    BusService service_;
};

/// Runs such a service in the main loop for the rest of the process's life, and returns its exit status: 0 after a
/// SIGTERM, which each connection receives as an error; 69 (sysexits.h, EX_UNAVAILABLE) where the service cannot run,
/// with the reason in the log. `published`, where it is given, is published beside the service's own object.
int runMessageService(const MessageAddress& address, MessageService::ConnectionHandler handler,
                      std::shared_ptr<PropertyObject> published = nullptr);

} // namespace Platform::Ipc
