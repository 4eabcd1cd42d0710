#pragma once

#include "Platform/Ipc/Bus.h"
#include "Platform/Ipc/MessageConnection.h"

namespace Platform::Ipc {

/// A client's way to a service: a bus connection of its own, on which the service sends back.
class ServiceRoute final : public MessageRoute {
public:
    ServiceRoute(MessageAddress address, std::weak_ptr<MessageConnection> connection);

    /// Goes to the bus. A reason why there is none becomes the connection's end.
    void open();
    void send(const Value& message) override;

private:
    BusHandlers handlers();
    void receive(IncomingCall call);
    void setOwner(const std::optional<std::string>& owner);
    void identify(const std::string& owner);
    void start();
    void tell(ConnectionError::Kind kind);

    const MessageAddress address_;
    const std::weak_ptr<MessageConnection> connection_;
    /// The unique name of the service while it runs.
    std::optional<std::string> owner_;
    bool starting_ = false;
    Bus bus_;
};

} // namespace Platform::Ipc
