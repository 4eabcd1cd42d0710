#pragma once

#include "Platform/Clock.h"
#include "Platform/Ipc/IncomingCall.h"
#include "Platform/Ipc/ServiceCall.h"
#include "Platform/Ipc/Value.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace Platform::Ipc {

/// What a bus tells its owner. The handlers run while the bus handles a message: they note what has come and leave
/// the work to a queue, and none of them destroys the bus.
struct BusHandlers {
    /// The bus is of no use any more, for the reason given. Called once at most.
    std::function<void(const std::string& reason)> ended;
    /// The connection, which had its name, was cut, though the bus may still be there: a peer's message that is too
    /// long for the library once the bus has written the sender into it is enough. The bus is of no use any more
    /// either.
    std::function<void()> cut;
    /// A peer sent a method call to the exported object; called before the call itself is answered in any way.
    std::function<void(const std::string& peer)> peerSent;
    /// A call of an exported method, with arguments of the method's signature.
    std::function<void(IncomingCall call)> called;
    /// A watched name has a new owner, whose unique name is given; nil where it has none any more.
    std::function<void(const std::string& name, const std::optional<std::string>& owner)> ownerChanged;
};

/// A method as callers see it.
struct BusMethod {
    std::string name;
    /// Types of the arguments (D-Bus Specification, "Type System") and their names.
    std::string signature;
    std::vector<std::string> argumentNames;
    /// Whether the introspection data says that there is nothing to wait for.
    bool noReply = false;
};

/// Where a call goes.
struct BusTarget {
    std::string destination;
    std::string objectPath;
    std::string interface;
    std::string method;
};

/// A connection of this process to the session bus. Nothing here waits: what needs an answer from the bus gets it
/// from the loop, so that a flood of messages never piles up behind a wait.
class Bus {
public:
    using Answer = std::variant<Value, CallFailure>;
    using AnswerHandler = std::function<void(Answer answer)>;

    /// The reason for which a bus ends that was there and is no more.
    static constexpr const char* lost = "the session bus is lost";

    /// Whether a service may have that well-known name (D-Bus Specification, "Valid Names").
    static bool isServiceName(const std::string& name);

    explicit Bus(BusHandlers handlers);
    /// Leaves the bus. Handlers of calls that have no answer yet are dropped.
    ~Bus();
    Bus(const Bus&) = delete;
    Bus& operator=(const Bus&) = delete;

    /// Goes to the session bus (D-Bus Specification, "Well-known Message Bus Instances"); an error is the reason why
    /// there is none. Everything below needs an open bus, and does nothing on one that has ended. A name or path that
    /// is not valid ends the bus where it is exported, watched or claimed, and fails the call that is made to it.
    std::optional<std::string> open();
    bool isOpen() const;

    /// Offers methods on an object of this process.
    void exportObject(const std::string& objectPath, const std::string& interface,
                      const std::vector<BusMethod>& methods);
    /// Tells of every name on the bus that loses its owner.
    void watchVanishingNames();
    /// Tells of every change of one name's owner.
    void watchOwner(const std::string& name);
    /// Takes a well-known name, with all that is exported in place. The bus ends where another process has it.
    void claimName(const std::string& name);

    /// Calls a method; the bus launches the destination where it does not run. `handler` gets the reply's first
    /// argument (null where it has none) while the bus handles the reply, as `BusHandlers` are called; an infinite
    /// limit is `Duration::max()`.
    void call(const BusTarget& target, std::optional<Value> variantArgument, Duration limit, AnswerHandler handler);
    /// As `call`, of a method of the bus itself that takes a name.
    void callBus(const std::string& method, const std::string& name, AnswerHandler handler);
    /// Has the bus launch a service that does not run; the answer comes when it has its name.
    void startService(const std::string& name, AnswerHandler handler);
    /// Calls a method with a variant and asks for no reply. Says why where the value cannot travel.
    std::optional<std::string> send(const BusTarget& target, const Value& variantArgument);

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace Platform::Ipc
