#pragma once

#include "Platform/Ipc/Bus.h"
#include "Platform/Ipc/MessageConnection.h"

namespace Platform::Ipc {

/// Sends a client's messages to a service, over a bus connection of its own on which the service sends back.
class ServiceRoute final : public MessageRoute {
public:
    ServiceRoute(MessageAddress address, std::weak_ptr<MessageConnection> connection);

    /// Connects to the bus. Where that fails, the connection becomes invalid.
    void open();
    void send(const Value& message) override;

private:
    BusCallbacks callbacks();
    void receive(IncomingCall call);
    void setOwner(const std::optional<std::string>& owner);
    void identify(const std::string& owner);
    void start();
    void report(ConnectionError::Kind kind);

    const MessageAddress address_;
    const std::weak_ptr<MessageConnection> connection_;
    /// The unique name of the service while it runs.
    std::optional<std::string> owner_;
    bool starting_ = false;
    Bus bus_;
};

} // namespace Platform::Ipc
