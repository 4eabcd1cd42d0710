#include "Platform/Ipc/Bus.h"

#include "Platform/RunLoop.h"

#include <systemd/sd-bus.h>

#include <cstring>
#include <exception>
#include <list>
#include <new>
#include <string_view>

namespace Platform::Ipc {

namespace {

constexpr const char* busName = "org.freedesktop.DBus";
constexpr const char* busPath = "/org/freedesktop/DBus";
constexpr const char* localName = "org.freedesktop.DBus.Local";
constexpr std::uint64_t flagBits = (std::uint64_t{1} << 56) - 1;

struct Unreference {
    void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
    void operator()(sd_bus_slot* slot) const { sd_bus_slot_unref(slot); }
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
template <class Handle>
using Owned = std::unique_ptr<Handle, Unreference>;

std::string reason(const std::string& what, int result) {
    return what + " (" + std::strerror(-result) + ")";
}

/// What the library needs of an exported interface for as long as it is exported.
class MethodTable {
public:
    MethodTable(const std::vector<BusMethod>& methods, sd_bus_message_handler_t handler) : methods_(methods) {
        entries_.push_back(blank(_SD_BUS_VTABLE_START));
        entries_.back().x.start.element_size = sizeof(sd_bus_vtable);
        entries_.back().x.start.features = _SD_BUS_VTABLE_PARAM_NAMES;
        entries_.back().x.start.vtable_format_reference = &sd_bus_object_vtable_format;
        for (const auto& method : methods_) {
            auto& names = argumentNames_.emplace_back();
            for (const auto& name : method.argumentNames)
                names.append(name).push_back('\0');
            sd_bus_vtable entry = blank(_SD_BUS_VTABLE_METHOD);
            const std::uint64_t noReply = method.noReply ? std::uint64_t{SD_BUS_VTABLE_METHOD_NO_REPLY} : 0;
            entry.flags = (SD_BUS_VTABLE_UNPRIVILEGED | noReply) & flagBits;
            entry.x.method.member = method.name.c_str();
            entry.x.method.signature = method.signature.c_str();
            entry.x.method.result = "";
            entry.x.method.handler = handler;
            entry.x.method.names = names.c_str();
            entries_.push_back(entry);
        }
        entries_.push_back(blank(_SD_BUS_VTABLE_END));
    }
    MethodTable(const MethodTable&) = delete;
    MethodTable& operator=(const MethodTable&) = delete;

    const sd_bus_vtable* entries() const { return entries_.data(); }

private:
    static sd_bus_vtable blank(std::uint8_t type) {
        sd_bus_vtable entry;
        std::memset(&entry, 0, sizeof entry);
        entry.type = type;
        return entry;
    }

    std::vector<BusMethod> methods_;
    std::list<std::string> argumentNames_;
    std::vector<sd_bus_vtable> entries_;
};

CallFailure failure(const sd_bus_error& error) {
    return {error.name == nullptr ? "" : error.name, error.message == nullptr ? "" : error.message};
}

Bus::Answer answer(sd_bus_message* reply) {
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
std::uint64_t microseconds(Duration limit) {
    if (limit == Duration::max())
        return UINT64_MAX;
    return static_cast<std::uint64_t>(
        std::max<std::int64_t>(1, std::chrono::ceil<std::chrono::microseconds>(limit).count()));
}

/// Runs what the library calls: an exception must not pass through it.
template <class Function>
int guarded(sd_bus_error* error, const Function& function) {
    try {
        return function();
    } catch (const std::bad_alloc&) {
        return sd_bus_error_set(error, SD_BUS_ERROR_NO_MEMORY, "out of memory");
    } catch (const std::exception& exception) {
        return sd_bus_error_set(error, SD_BUS_ERROR_FAILED, exception.what());
    }
}

} // namespace

struct Bus::State {
    struct PendingCall {
        State* state;
        std::list<PendingCall>::iterator place;
        AnswerHandler handler;
        Owned<sd_bus_slot> slot;
    };

    explicit State(BusHandlers given) : handlers(std::move(given)) {}

    BusHandlers handlers;
    std::string objectPath;
    std::string claimedName;
    bool hasName = false;
    bool ended = false;
    std::unique_ptr<MethodTable> methods;
    Owned<sd_bus> bus;
    std::vector<Owned<sd_bus_slot>> slots;
    std::list<PendingCall> pendingCalls;

    ~State() {
        pendingCalls.clear();
        slots.clear();
        if (bus)
            sd_bus_detach_event(bus.get());
    }

    /// Keeps what the library has made; the bus ends where that failed.
    void keep(sd_bus_slot* slot, int result, const std::string& what) {
        if (result >= 0)
            slots.emplace_back(slot);
        else
            end(reason(what, result));
    }

    void end(const std::string& reason) {
        if (std::exchange(ended, true))
            return;
        if (handlers.ended)
            handlers.ended(reason);
    }

    void disconnected() {
        if (!hasName || !handlers.cut)
            return end(lost);
        if (!std::exchange(ended, true))
            handlers.cut();
    }

    static State& of(void* data) { return *static_cast<State*>(data); }

    static int everyMessage(sd_bus_message* message, void* data, sd_bus_error* error);
    static int called(sd_bus_message* message, void* data, sd_bus_error* error);
    static int ownerChanged(sd_bus_message* message, void* data, sd_bus_error* error);
    static int nameClaimed(sd_bus_message* message, void* data, sd_bus_error* error);
    static int answered(sd_bus_message* message, void* data, sd_bus_error* error);

    void watch(const std::string& match);
    void start(Owned<sd_bus_message> message, Duration limit, AnswerHandler handler);
    /// Calls a method of the bus itself, with arguments of that signature.
    template <class... Arguments>
    void callBus(const std::string& method, AnswerHandler handler, const char* signature, Arguments... arguments);
    /// A call, or the reason why it cannot be made.
    std::variant<Owned<sd_bus_message>, std::string> newCall(const BusTarget& target) const;
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
            path == state.objectPath && state.handlers.peerSent)
            state.handlers.peerSent(sender);
        return 0;
    });
}

int Bus::State::called(sd_bus_message* message, void* data, sd_bus_error* error) {
    return guarded(error, [&] {
        of(data).handlers.called(IncomingCall(*message));
        return 1;
    });
}

int Bus::State::ownerChanged(sd_bus_message* message, void* data, sd_bus_error* error) {
    return guarded(error, [&] {
        const char* name = nullptr;
        const char* oldOwner = nullptr;
        const char* newOwner = nullptr;
        if (sd_bus_message_read(message, "sss", &name, &oldOwner, &newOwner) > 0)
            of(data).handlers.ownerChanged(name,
                                           *newOwner == '\0' ? std::nullopt : std::optional<std::string>(newOwner));
        return 0;
    });
}

int Bus::State::nameClaimed(sd_bus_message* message, void* data, sd_bus_error* error) {
    return guarded(error, [&] {
        State& state = of(data);
        constexpr std::uint64_t primaryOwner = 1; // D-Bus Specification, org.freedesktop.DBus.RequestName
        const auto claimed = answer(message);
        if (const auto* failed = std::get_if<CallFailure>(&claimed))
            state.end("the bus name " + state.claimedName + " cannot be claimed: " + failed->text);
        else if (std::get<Value>(claimed) != Value(primaryOwner))
            state.end("the bus name " + state.claimedName + " is taken by another process");
        else
            state.hasName = true;
        return 0;
    });
}

int Bus::State::answered(sd_bus_message* message, void* data, sd_bus_error* error) {
    return guarded(error, [&] {
        auto& call = *static_cast<PendingCall*>(data);
        const auto handler = std::move(call.handler);
        call.state->pendingCalls.erase(call.place);
        handler(answer(message));
        return 1;
    });
}

void Bus::State::watch(const std::string& match) {
    if (!bus || ended)
        return;
    sd_bus_slot* slot = nullptr;
    // Without an own handler for the rule's installation, the library ends the connection where that fails.
    const int result = sd_bus_add_match_async(bus.get(), &slot, match.c_str(), ownerChanged, nullptr, this);
    keep(slot, result, "the owners of bus names cannot be watched");
}

std::variant<Owned<sd_bus_message>, std::string> Bus::State::newCall(const BusTarget& target) const {
    sd_bus_message* message = nullptr;
    const int result =
        sd_bus_message_new_method_call(bus.get(), &message, target.destination.c_str(), target.objectPath.c_str(),
                                       target.interface.c_str(), target.method.c_str());
    if (result < 0)
        return reason("a call cannot be made", result);
    return Owned<sd_bus_message>(message);
}

template <class... Arguments>
void Bus::State::callBus(const std::string& method, AnswerHandler handler, const char* signature,
                         Arguments... arguments) {
    auto made = newCall({busName, busPath, busName, method});
    auto* message = std::get_if<Owned<sd_bus_message>>(&made);
    if (message == nullptr)
        return handler(CallFailure{SD_BUS_ERROR_INVALID_ARGS, std::get<std::string>(made)});
    const int result = sd_bus_message_append(message->get(), signature, arguments...);
    if (result < 0)
        return handler(CallFailure{SD_BUS_ERROR_INVALID_ARGS, reason("a call cannot be made", result)});
    start(std::move(*message), Duration::max(), std::move(handler));
}

void Bus::State::start(Owned<sd_bus_message> message, Duration limit, AnswerHandler handler) {
    pendingCalls.push_front({this, {}, std::move(handler), nullptr});
    auto& call = pendingCalls.front();
    call.place = pendingCalls.begin();
    sd_bus_slot* slot = nullptr;
    const int result = sd_bus_call_async(bus.get(), &slot, message.get(), answered, &call, microseconds(limit));
    call.slot.reset(slot);
    if (result >= 0)
        return;
    const auto refused = std::move(call.handler);
    pendingCalls.pop_front();
    refused(CallFailure{SD_BUS_ERROR_FAILED, std::strerror(-result)});
}

Bus::Bus(BusHandlers handlers) : state_(std::make_unique<State>(std::move(handlers))) {}
Bus::~Bus() = default;

bool Bus::isOpen() const {
    return state_->bus && !state_->ended;
}

std::optional<std::string> Bus::open() {
    sd_bus* bus = nullptr;
    int result = sd_bus_open_user(&bus);
    state_->bus.reset(bus);
    if (result >= 0)
        result = sd_bus_attach_event(bus, RunLoop::main().event(), SD_EVENT_PRIORITY_NORMAL);
    if (result < 0) {
        state_->bus.reset();
        return std::string("there is no session bus (") + std::strerror(-result) + ")";
    }
    sd_bus_slot* slot = nullptr;
    const int filtered = sd_bus_add_filter(bus, &slot, State::everyMessage, state_.get());
    state_->keep(slot, filtered, "the bus's messages cannot be seen");
    return std::nullopt;
}

void Bus::exportObject(const std::string& objectPath, const std::string& interface,
                       const std::vector<BusMethod>& methods) {
    if (!isOpen())
        return;
    state_->objectPath = objectPath;
    state_->methods = std::make_unique<MethodTable>(methods, State::called);
    sd_bus_slot* slot = nullptr;
    const int result = sd_bus_add_object_vtable(state_->bus.get(), &slot, objectPath.c_str(), interface.c_str(),
                                                state_->methods->entries(), state_.get());
    state_->keep(slot, result, "the object " + objectPath + " cannot be exported");
}

void Bus::watchVanishingNames() {
    state_->watch(std::string("type='signal',sender='") + busName + "',path='" + busPath + "',interface='" + busName +
                  "',member='NameOwnerChanged',arg2=''");
}

void Bus::watchOwner(const std::string& name) {
    state_->watch(std::string("type='signal',sender='") + busName + "',path='" + busPath + "',interface='" + busName +
                  "',member='NameOwnerChanged',arg0='" + name + "'");
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

void Bus::call(const BusTarget& target, std::optional<Value> variantArgument, Duration limit, AnswerHandler handler) {
    if (!isOpen())
        return;
    auto made = state_->newCall(target);
    auto* message = std::get_if<Owned<sd_bus_message>>(&made);
    if (message == nullptr)
        return handler(CallFailure{SD_BUS_ERROR_INVALID_ARGS, std::get<std::string>(made)});
    if (variantArgument) {
        if (const auto refused = appendVariant(**message, *variantArgument))
            return handler(CallFailure{refused->errorName, refused->text});
    }
    state_->start(std::move(*message), limit, std::move(handler));
}

void Bus::callBus(const std::string& method, const std::string& name, AnswerHandler handler) {
    if (isOpen())
        state_->callBus(method, std::move(handler), "s", name.c_str());
}

void Bus::startService(const std::string& name, AnswerHandler handler) {
    if (isOpen())
        state_->callBus("StartServiceByName", std::move(handler), "su", name.c_str(), 0U);
}

std::optional<std::string> Bus::send(const BusTarget& target, const Value& variantArgument) {
    if (!isOpen())
        return std::nullopt;
    auto made = state_->newCall(target);
    auto* message = std::get_if<Owned<sd_bus_message>>(&made);
    if (message == nullptr)
        return std::get<std::string>(made);
    if (const auto refused = appendVariant(**message, variantArgument))
        return refused->text;
    int result = sd_bus_message_set_expect_reply(message->get(), 0);
    if (result >= 0)
        result = sd_bus_send(state_->bus.get(), message->get(), nullptr);
    if (result < 0)
        return std::strerror(-result);
    return std::nullopt;
}

bool Bus::isServiceName(const std::string& name) {
    const bool isUnique = name.starts_with(':');
    const bool hasZero = name.find('\0') != std::string::npos;
    return !isUnique && !hasZero && sd_bus_service_name_is_valid(name.c_str()) > 0;
}

} // namespace Platform::Ipc
