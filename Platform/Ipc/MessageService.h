#pragma once

#include "Platform/Ipc/Endpoint.h"
#include "Platform/Ipc/MessageConnection.h"

#include <functional>
#include <memory>
#include <string>

namespace Platform::Ipc {

/// A service that exchanges messages under a name of its own on the session bus. Each peer, which is one unique name
/// on the bus, is one connection. Used on the loop's thread.
class MessageService {
public:
    /// Is called on the main queue with the connection of each peer that sends anything to the service's object. The
    /// connection is suspended; nothing is handled on it before the main queue has run what the handler put there.
    /// The service keeps it until its peer has left.
    using ConnectionHandler = std::function<void(const std::shared_ptr<MessageConnection>& connection)>;

    MessageService(MessageAddress address, ConnectionHandler handler);
    /// Leaves the bus. What its connections have received is still handled.
    ~MessageService();
    MessageService(const MessageService&) = delete;
    MessageService& operator=(const MessageService&) = delete;

    /// Called once, on the main queue, when the service cannot serve any more, after each connection was told that it
    /// is invalid; the reasons are those of `Listener::setEndHandler`.
    void setEndHandler(std::function<void(const std::string& reason)> handler);
    /// Goes to the session bus and claims the name. To be called once.
    void resume();
    /// Tells every connection that the process is about to end.
    void announceTermination();

private:
    struct State;
    std::shared_ptr<State> state_;
};

/// Runs such a service in the main loop for the rest of the process's life, and gives its exit status: 0 after a
/// SIGTERM, once each connection was told of it; 69 (sysexits.h, EX_UNAVAILABLE) where the service cannot serve, the
/// reason being logged.
int runMessageService(const MessageAddress& address, MessageService::ConnectionHandler handler);

} // namespace Platform::Ipc
