#include "Platform/Ipc/BusState.h"

#include "Platform/Ipc/Guarded.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <string_view>

namespace Platform::Ipc {

namespace {

constexpr const char* localName = "org.freedesktop.DBus.Local";

CallFailure failure(const sd_bus_error& error) {
    return {error.name == nullptr ? "" : error.name, error.message == nullptr ? "" : error.message};
}

Bus::Reply replyOf(sd_bus_message* reply) {
    if (const sd_bus_error* error = sd_bus_message_get_error(reply))
        return failure(*error);
    if (sd_bus_message_is_empty(reply) > 0)
        return Value();
    auto read = readValue(*reply);
    if (const auto* refused = std::get_if<MessageFailure>(&read))
        return CallFailure{refused->errorName, refused->text};
    return std::get<Value>(std::move(read));
}

/// The library's time-outs are in microseconds, with the largest number for none.
std::uint64_t microseconds(Duration timeout) {
    if (timeout == Duration::max())
        return UINT64_MAX;
    return static_cast<std::uint64_t>(
        std::max<std::int64_t>(1, std::chrono::ceil<std::chrono::microseconds>(timeout).count()));
}

} // namespace

std::string Bus::State::reason(const std::string& what, int result) {
    return what + " (" + std::strerror(-result) + ")";
}

int Bus::State::everyMessage(sd_bus_message* message, void* data, sd_bus_error* error) {
    return guarded(error, [&] {
        State& state = of(data);
        const char* sender = sd_bus_message_get_sender(message);
        if (sender == nullptr)
            return 0;
        // The library's own message; the bus lets nobody send from that name (D-Bus Specification, "Reserved names").
        if (std::string_view(sender) == localName && sd_bus_message_is_signal(message, localName, "Disconnected") > 0)
            state.disconnected();
        const char* path = sd_bus_message_get_path(message);
        if (sd_bus_message_is_method_call(message, nullptr, nullptr) > 0 && path != nullptr &&
            path == state.objectPath && state.callbacks.peerSent)
            state.callbacks.peerSent(sender);
        return 0;
    });
}

int Bus::State::called(sd_bus_message* message, void* data, sd_bus_error* error) {
    return guarded(error, [&] {
        of(data).callbacks.called(IncomingCall(*message));
        return 1;
    });
}

int Bus::State::ownerChanged(sd_bus_message* message, void* data, sd_bus_error* error) {
    return guarded(error, [&] {
        const char* name = nullptr;
        const char* oldOwner = nullptr;
        const char* newOwner = nullptr;
        if (sd_bus_message_read(message, "sss", &name, &oldOwner, &newOwner) > 0)
            of(data).callbacks.ownerChanged(name,
                                            *newOwner == '\0' ? std::nullopt : std::optional<std::string>(newOwner));
        return 0;
    });
}

int Bus::State::propertiesChanged(sd_bus_message* message, void* data, sd_bus_error* error) {
    return guarded(error, [&] {
        if (const char* sender = sd_bus_message_get_sender(message))
            of(data).callbacks.propertiesChanged(sender);
        return 0;
    });
}

int Bus::State::nameClaimed(sd_bus_message* message, void* data, sd_bus_error* error) {
    return guarded(error, [&] {
        State& state = of(data);
        constexpr std::uint64_t primaryOwner = 1; // D-Bus Specification, org.freedesktop.DBus.RequestName
        const auto claimed = replyOf(message);
        if (const auto* refused = std::get_if<CallFailure>(&claimed))
            state.fail("the bus name " + state.claimedName + " cannot be claimed: " + refused->text);
        else if (std::get<Value>(claimed) != Value(primaryOwner))
            state.fail("the bus name " + state.claimedName + " is taken by another process");
        else
            state.claimed();
        return 0;
    });
}

int Bus::State::replied(sd_bus_message* message, void* data, sd_bus_error* error) {
    return guarded(error, [&] {
        auto& call = *static_cast<PendingCall*>(data);
        const auto handler = std::move(call.handler);
        call.state->pendingCalls.erase(call.place);
        handler(replyOf(message));
        return 1;
    });
}

void Bus::State::watch(const std::string& match, sd_bus_message_handler_t handler, const std::string& what) {
    if (!bus || failed)
        return;
    sd_bus_slot* slot = nullptr;
    // Without an own handler for the rule's installation, the library ends the connection where that fails.
    const int result = sd_bus_add_match_async(bus.get(), &slot, match.c_str(), handler, nullptr, this);
    keep(slot, result, what + " cannot be watched");
}

void Bus::State::watchOwners(const std::string& argument) {
    watch(std::string("type='signal',sender='") + busName + "',path='" + busPath + "',interface='" + busName +
              "',member='NameOwnerChanged'," + argument,
          ownerChanged, "the owners of bus names");
}

std::variant<OwnedMessage, std::string> Bus::State::newCall(const BusTarget& target) const {
    sd_bus_message* message = nullptr;
    const int result =
        sd_bus_message_new_method_call(bus.get(), &message, target.destination.c_str(), target.objectPath.c_str(),
                                       target.interface.c_str(), target.method.c_str());
    if (result < 0)
        return reason("a call cannot be made", result);
    return OwnedMessage(message);
}

void Bus::State::start(OwnedMessage message, Duration timeout, ReplyHandler handler) {
    pendingCalls.push_front({this, {}, std::move(handler), nullptr});
    auto& call = pendingCalls.front();
    call.place = pendingCalls.begin();
    sd_bus_slot* slot = nullptr;
    const int result = sd_bus_call_async(bus.get(), &slot, message.get(), replied, &call, microseconds(timeout));
    call.slot.reset(slot);
    if (result >= 0)
        return;
    const auto refused = std::move(call.handler);
    pendingCalls.pop_front();
    refused(CallFailure{ErrorName::failed, std::strerror(-result)});
}

} // namespace Platform::Ipc
