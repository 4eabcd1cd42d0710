#pragma once

#include "Platform/Ipc/Endpoint.h"
#include "Platform/Ipc/IncomingCall.h"
#include "Platform/Ipc/ServiceCall.h"
#include "Platform/Ipc/Value.h"
#include "Platform/Loop/Clock.h"

#include <boost/system/result.hpp>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>

namespace Platform::Ipc {

class PropertyObject;

/// The callbacks of a bus. They run while the bus dispatches a message: they record what has come and leave the work
/// to a queue, and none of them destroys the bus.
struct BusCallbacks {
    /// The bus cannot be used any more, for the reason given. Called once at most.
    std::function<void(const std::string& reason)> failed;
    /// The name that was requested belongs to this process now.
    std::function<void()> nameClaimed;
    /// The connection, which had its name, was closed, though the bus may still run: a peer's message that is too
    /// long for the library once the bus has written the sender into it is enough. The bus cannot be used any more.
    std::function<void()> disconnected;
    /// A peer sent a method call to the exported object; called before the call itself is dispatched or refused.
    std::function<void(const std::string& peer)> peerSent;
    /// A call of an exported method, with arguments of the method's signature.
    std::function<void(IncomingCall call)> called;
    /// A watched name has a new owner, whose unique name is given; nil where it has none any more.
    std::function<void(const std::string& name, const std::optional<std::string>& owner)> ownerChanged;
    /// A peer, whose unique name is given, says that watched properties have changed.
    std::function<void(const std::string& peer)> propertiesChanged;
};

/// Where a call goes.
struct BusTarget {
    std::string destination;
    std::string objectPath;
    std::string interface;
    std::string method;
};

/// A connection of this process to the session bus. Nothing here waits: the bus's replies arrive through the loop, so
/// that a flood of messages never piles up behind a wait.
class Bus {
public:
    using Reply = std::variant<Value, CallFailure>;
    using ReplyHandler = std::function<void(Reply reply)>;
    /// True where the operation succeeded; `error()` is the reason otherwise.
    using Result = boost::system::result<void, std::string>;

    /// The reason with which a bus fails whose connection was lost.
    static constexpr const char* lost = "the session bus is lost";

    /// Whether a service may have that well-known name (D-Bus Specification, "Valid Names").
    static bool isServiceName(const std::string& name);

    explicit Bus(BusCallbacks callbacks);
    /// Disconnects. Handlers of calls whose reply is pending are dropped.
    ~Bus();
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    /// Connects to the session bus (D-Bus Specification, "Well-known Message Bus Instances"). Everything below needs
    /// an open bus, and does nothing on one that has failed. A name or path that is not valid makes the bus fail where
    /// it is exported, watched or claimed, and makes the call fail where it is called.
    [[nodiscard]] Result open();
    bool isOpen() const;
    /// The name that the bus has given to this connection; nil before the bus has replied to anything.
    std::optional<std::string> uniqueName() const;

    /// Exports an object of this process. To be called once.
    void exportObject(const BusObject& object);
    /// Publishes an object of this process that is not the exported one; the callbacks are not called for it.
    void publish(std::shared_ptr<const PropertyObject> object);
    /// Tells every program that listens which properties of a published object may have changed
    /// (D-Bus Specification, org.freedesktop.DBus.Properties.PropertiesChanged), without their values.
    void announceChanges(const PropertyObject& object);
    /// Reports every name on the bus that loses its owner.
    void watchVanishingNames();
    /// Reports every change of one name's owner.
    void watchOwner(const std::string& name);
    /// Reports every change that a peer announces of an interface's properties, on an object of that path (D-Bus
    /// Specification, org.freedesktop.DBus.Properties.PropertiesChanged). Peers that have no such object may announce
    /// changes too.
    void watchProperties(const std::string& objectPath, const std::string& interface);
    /// Requests a well-known name, after everything is exported. The bus fails where another process owns it.
    void claimName(const std::string& name);

    /// Calls a method; the bus launches the destination where it does not run. `handler` gets the reply's first
    /// argument (null where it has none) while the bus dispatches the reply, as `BusCallbacks` are called; no timeout
    /// is `Duration::max()`.
    void call(const BusTarget& target, std::optional<Value> variantArgument, Duration timeout, ReplyHandler handler);
    /// As `call`, of a method of the bus itself that takes a name.
    void callBus(const std::string& method, const std::string& name, ReplyHandler handler);
    /// Reads all properties of an interface of a peer's object; launches nothing. `handler` gets what the peer replied,
    /// which should be a dictionary, as that of `call` does; there is no timeout.
    void readProperties(const std::string& peer, const std::string& objectPath, const std::string& interface,
                        ReplyHandler handler);
    /// As `readProperties`, of one property; the reply is its value.
    void readProperty(const std::string& peer, const std::string& objectPath, const std::string& interface,
                      const std::string& name, ReplyHandler handler);
    /// Has the bus launch a service that does not run; the reply comes when the service owns its name.
    void startService(const std::string& name, ReplyHandler handler);
    /// Calls a method with a variant and asks for no reply. An error is the reason why the value cannot be sent. On a
    /// bus that has failed this succeeds and sends nothing: its owner has been notified that it failed.
    [[nodiscard]] Result send(const BusTarget& target, const Value& variantArgument);

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace Platform::Ipc
