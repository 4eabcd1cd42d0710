#pragma once

#include "Platform/Ipc/Bus.h"
#include "Platform/Ipc/BusHandles.h"
#include "Platform/Ipc/ErrorNames.h"
#include "Platform/Ipc/MethodTable.h"
#include "Platform/Ipc/PropertyTable.h"

#include <cstdint>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace Platform::Ipc {

/// The sd-bus objects of a bus, and its callbacks: the static functions, which sd-bus calls from the loop.
struct Bus::State {
    // D-Bus Specification, "Message Bus Messages" and "org.freedesktop.DBus.Properties".
    static constexpr const char* busName = "org.freedesktop.DBus";
    static constexpr const char* busPath = "/org/freedesktop/DBus";
    static constexpr const char* propertiesInterface = "org.freedesktop.DBus.Properties";

    /// What failed, and the text of the library's negative error number.
    static std::string reason(const std::string& what, int result);

    struct PendingCall {
        State* state;
        std::list<PendingCall>::iterator place;
        ReplyHandler handler;
        OwnedSlot slot;
    };

    explicit State(BusCallbacks given) : callbacks(std::move(given)) {}

    BusCallbacks callbacks;
    std::string objectPath;
    std::string claimedName;
    bool hasName = false;
    bool failed = false;
    std::unique_ptr<MethodTable> methods;
    OwnedBus bus;
    std::list<PropertyTable> properties;
    std::vector<OwnedSlot> slots;
    std::list<PendingCall> pendingCalls;

    ~State() {
        pendingCalls.clear();
        slots.clear();
        if (bus)
            sd_bus_detach_event(bus.get());
    }

    /// Keeps what the library has made; the bus fails where it could make nothing.
    void keep(sd_bus_slot* slot, int result, const std::string& what) {
        if (result >= 0)
            slots.emplace_back(slot);
        else
            fail(reason(what, result));
    }

    void fail(const std::string& reason) {
        if (std::exchange(failed, true))
            return;
        if (callbacks.failed)
            callbacks.failed(reason);
    }

    void disconnected() {
        if (!hasName || !callbacks.disconnected)
            return fail(lost);
        if (!std::exchange(failed, true))
            callbacks.disconnected();
    }

    void claimed() {
        hasName = true;
        if (callbacks.nameClaimed)
            callbacks.nameClaimed();
    }

    static State& of(void* data) { return *static_cast<State*>(data); }

    static int everyMessage(sd_bus_message* message, void* data, sd_bus_error* error);
    static int called(sd_bus_message* message, void* data, sd_bus_error* error);
    static int ownerChanged(sd_bus_message* message, void* data, sd_bus_error* error);
    static int propertiesChanged(sd_bus_message* message, void* data, sd_bus_error* error);
    static int nameClaimed(sd_bus_message* message, void* data, sd_bus_error* error);
    static int replied(sd_bus_message* message, void* data, sd_bus_error* error);

    /// Installs a rule for signals (D-Bus Specification, "Match Rules"); `what` is what cannot be watched without it.
    void watch(const std::string& match, sd_bus_message_handler_t handler, const std::string& what);
    void watchOwners(const std::string& argument);
    void start(OwnedMessage message, Duration timeout, ReplyHandler handler);
    /// Calls a method with arguments of that signature; launches nothing.
    template <class... Arguments>
    void call(const BusTarget& target, ReplyHandler handler, const char* signature, Arguments... arguments);
    /// A call, or the reason why it cannot be made.
    std::variant<OwnedMessage, std::string> newCall(const BusTarget& target) const;
};

template <class... Arguments>
void Bus::State::call(const BusTarget& target, ReplyHandler handler, const char* signature, Arguments... arguments) {
    auto made = newCall(target);
    auto* message = std::get_if<OwnedMessage>(&made);
    if (message == nullptr)
        return handler(CallFailure{ErrorName::invalidArguments, std::get<std::string>(made)});
    int result = sd_bus_message_set_auto_start(message->get(), 0);
    if (result >= 0)
        result = sd_bus_message_append(message->get(), signature, arguments...);
    if (result < 0)
        return handler(CallFailure{ErrorName::invalidArguments, reason("a call cannot be made", result)});
    start(std::move(*message), Duration::max(), std::move(handler));
}

} // namespace Platform::Ipc
