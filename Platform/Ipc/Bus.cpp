#include "Platform/Ipc/Bus.h"

#include "Platform/Ipc/BusHandles.h"
#include "Platform/Ipc/ErrorNames.h"
#include "Platform/Ipc/Guarded.h"
#include "Platform/Ipc/MethodTable.h"
#include "Platform/Ipc/PropertyTable.h"
#include "Platform/Loop/RunLoop.h"

#include <cstring>
#include <list>
#include <string_view>

namespace Platform::Ipc {

namespace {

constexpr const char* busName = "org.freedesktop.DBus";
constexpr const char* busPath = "/org/freedesktop/DBus";
constexpr const char* propertiesInterface = "org.freedesktop.DBus.Properties";
constexpr const char* localName = "org.freedesktop.DBus.Local";

std::string reason(const std::string& what, int result) {
    return what + " (" + std::strerror(-result) + ")";
}

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

struct Bus::State {
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

Bus::Bus(BusCallbacks callbacks) : state_(std::make_unique<State>(std::move(callbacks))) {}
Bus::~Bus() = default;

bool Bus::isOpen() const {
    return state_->bus && !state_->failed;
}

std::optional<std::string> Bus::uniqueName() const {
    const char* name = nullptr;
    // The library waits for the name of a connection that is not ready.
    if (!isOpen() || sd_bus_is_ready(state_->bus.get()) <= 0 || sd_bus_get_unique_name(state_->bus.get(), &name) < 0)
        return std::nullopt;
    return name;
}

Bus::Result Bus::open() {
    sd_bus* bus = nullptr;
    int result = sd_bus_open_user(&bus);
    state_->bus.reset(bus);
    if (result >= 0)
        result = sd_bus_attach_event(bus, RunLoop::main().event(), SD_EVENT_PRIORITY_NORMAL);
    if (result < 0) {
        state_->bus.reset();
        return reason("there is no session bus", result);
    }
    sd_bus_slot* slot = nullptr;
    const int filtered = sd_bus_add_filter(bus, &slot, State::everyMessage, state_.get());
    state_->keep(slot, filtered, "the bus's messages cannot be seen");
    return {};
}

void Bus::exportObject(const BusObject& object) {
    if (!isOpen())
        return;
    state_->objectPath = object.path;
    state_->methods = std::make_unique<MethodTable>(object.methods, State::called);
    sd_bus_slot* slot = nullptr;
    const int result = sd_bus_add_object_vtable(state_->bus.get(), &slot, object.path.c_str(), object.interface.c_str(),
                                                state_->methods->entries(), state_.get());
    state_->keep(slot, result, "the object " + object.path + " cannot be exported");
}

void Bus::publish(std::shared_ptr<const PropertyObject> object) {
    if (!isOpen())
        return;
    const auto& table = state_->properties.emplace_back(std::move(object));
    sd_bus_slot* slot = nullptr;
    const int result = table.publish(*state_->bus, &slot);
    state_->keep(slot, result, "the object " + table.object().path() + " cannot be published");
}

void Bus::announceChanges(const PropertyObject& object) {
    if (!isOpen())
        return;
    // It fails where the connection is lost or there is no memory; the next change is announced anew.
    static_cast<void>(PropertyTable::announceChanges(*state_->bus, object));
}

void Bus::watchVanishingNames() {
    state_->watchOwners("arg2=''");
}

void Bus::watchOwner(const std::string& name) {
    state_->watchOwners("arg0='" + name + "'");
}

void Bus::watchProperties(const std::string& objectPath, const std::string& interface) {
    state_->watch("type='signal',path='" + objectPath + "',interface='" + propertiesInterface +
                      "',member='PropertiesChanged',arg0='" + interface + "'",
                  State::propertiesChanged, "the properties of " + objectPath);
}

void Bus::claimName(const std::string& name) {
    if (!isOpen())
        return;
    state_->claimedName = name;
    sd_bus_slot* slot = nullptr;
    const int result =
        sd_bus_request_name_async(state_->bus.get(), &slot, name.c_str(), 0, State::nameClaimed, state_.get());
    state_->keep(slot, result, "the bus name " + name + " cannot be claimed");
}

void Bus::call(const BusTarget& target, std::optional<Value> variantArgument, Duration timeout, ReplyHandler handler) {
    if (!isOpen())
        return;
    auto made = state_->newCall(target);
    auto* message = std::get_if<OwnedMessage>(&made);
    if (message == nullptr)
        return handler(CallFailure{ErrorName::invalidArguments, std::get<std::string>(made)});
    if (variantArgument) {
        if (const auto appended = appendVariant(**message, *variantArgument); !appended)
            return handler(CallFailure{appended.error().errorName, appended.error().text});
    }
    state_->start(std::move(*message), timeout, std::move(handler));
}

void Bus::callBus(const std::string& method, const std::string& name, ReplyHandler handler) {
    if (isOpen())
        state_->call({busName, busPath, busName, method}, std::move(handler), "s", name.c_str());
}

void Bus::readProperties(const std::string& peer, const std::string& objectPath, const std::string& interface,
                         ReplyHandler handler) {
    if (isOpen())
        state_->call({peer, objectPath, propertiesInterface, "GetAll"}, std::move(handler), "s", interface.c_str());
}

void Bus::readProperty(const std::string& peer, const std::string& objectPath, const std::string& interface,
                       const std::string& name, ReplyHandler handler) {
    if (isOpen())
        state_->call({peer, objectPath, propertiesInterface, "Get"}, std::move(handler), "ss", interface.c_str(),
                     name.c_str());
}

void Bus::startService(const std::string& name, ReplyHandler handler) {
    if (isOpen())
        state_->call({busName, busPath, busName, "StartServiceByName"}, std::move(handler), "su", name.c_str(), 0U);
}

Bus::Result Bus::send(const BusTarget& target, const Value& variantArgument) {
    if (!isOpen())
        return {};
    auto made = state_->newCall(target);
    auto* message = std::get_if<OwnedMessage>(&made);
    if (message == nullptr)
        return std::get<std::string>(made);
    if (const auto appended = appendVariant(**message, variantArgument); !appended)
        return appended.error().text;
    int result = sd_bus_message_set_expect_reply(message->get(), 0);
    if (result >= 0)
        result = sd_bus_send(state_->bus.get(), message->get(), nullptr);
    if (result < 0)
        return std::string(std::strerror(-result));
    return {};
}

bool Bus::isServiceName(const std::string& name) {
    const bool isUnique = name.starts_with(':');
    const bool hasZero = name.find('\0') != std::string::npos;
    return !isUnique && !hasZero && sd_bus_service_name_is_valid(name.c_str()) > 0;
}

} // namespace Platform::Ipc
