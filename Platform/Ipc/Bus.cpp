#include "Platform/Ipc/Bus.h"

#include "Platform/Ipc/BusState.h"
#include "Platform/Loop/RunLoop.h"

#include <cstring>

namespace Platform::Ipc {

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
        return State::reason("there is no session bus", result);
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
    state_->watch("type='signal',path='" + objectPath + "',interface='" + State::propertiesInterface +
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
        state_->call({State::busName, State::busPath, State::busName, method}, std::move(handler), "s", name.c_str());
}

void Bus::readProperties(const std::string& peer, const std::string& objectPath, const std::string& interface,
                         ReplyHandler handler) {
    if (isOpen())
        state_->call({peer, objectPath, State::propertiesInterface, "GetAll"}, std::move(handler), "s",
                     interface.c_str());
}

void Bus::readProperty(const std::string& peer, const std::string& objectPath, const std::string& interface,
                       const std::string& name, ReplyHandler handler) {
    if (isOpen())
        state_->call({peer, objectPath, State::propertiesInterface, "Get"}, std::move(handler), "ss", interface.c_str(),
                     name.c_str());
}

void Bus::startService(const std::string& name, ReplyHandler handler) {
    if (isOpen())
        state_->call({State::busName, State::busPath, State::busName, "StartServiceByName"}, std::move(handler), "su",
                     name.c_str(), 0U);
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
