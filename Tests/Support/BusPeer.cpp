#include "Support/BusPeer.h"

#include "Platform/Loop/RunLoop.h"

#include <systemd/sd-bus.h>

#include <cstring>
#include <stdexcept>

namespace TestSupport {

namespace {

int busResult(int result, const char* what) {
    if (result < 0)
        throw std::runtime_error(std::string(what) + ": " + std::strerror(-result));
    return result;
}

void unreference(sd_bus_message* message) {
    sd_bus_message_unref(message);
}

BusPeer::Reply replyOf(sd_bus_message* message) {
    BusPeer::Reply result;
    if (const sd_bus_error* error = sd_bus_message_get_error(message)) {
        result.errorName = error->name;
        result.errorText = error->message == nullptr ? "" : error->message;
        return result;
    }
    result.signature = sd_bus_message_get_signature(message, 1);
    const char* text = nullptr;
    if (result.signature.starts_with('s') && sd_bus_message_read_basic(message, 's', &text) > 0)
        result.text = text;
    return result;
}

using PendingReply = std::shared_ptr<std::optional<BusPeer::Reply>>;

int replyReceived(sd_bus_message* message, void* data, sd_bus_error*) {
    **static_cast<PendingReply*>(data) = replyOf(message);
    return 1;
}

} // namespace

struct BusPeer::State {
    sd_bus* bus = nullptr;
    std::vector<Message> received;

    static int receive(sd_bus_message* message, void* data, sd_bus_error*) {
        std::uint8_t type = 0;
        sd_bus_message_get_type(message, &type);
        if (type != SD_BUS_MESSAGE_SIGNAL)
            static_cast<State*>(data)->received.emplace_back(sd_bus_message_ref(message), unreference);
        return 0;
    }
};

BusPeer::BusPeer() : state_(std::make_unique<State>()) {
    busResult(sd_bus_open_user(&state_->bus), "sd_bus_open_user");
    busResult(sd_bus_attach_event(state_->bus, Platform::RunLoop::main().event(), SD_EVENT_PRIORITY_NORMAL),
              "sd_bus_attach_event");
    busResult(sd_bus_add_filter(state_->bus, nullptr, State::receive, state_.get()), "sd_bus_add_filter");
}

BusPeer::~BusPeer() {
    state_->received.clear();
    sd_bus_detach_event(state_->bus);
    sd_bus_close_unref(state_->bus);
}

std::string BusPeer::uniqueName() const {
    const char* name = nullptr;
    busResult(sd_bus_get_unique_name(state_->bus, &name), "sd_bus_get_unique_name");
    return name;
}

std::string BusPeer::ownerOf(const std::string& name) {
    const Target getNameOwner{"org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "GetNameOwner"};
    const auto owner = call(getNameOwner, [&](sd_bus_message* message) {
        busResult(sd_bus_message_append(message, "s", name.c_str()), "sd_bus_message_append");
    });
    return owner && owner->errorName.empty() ? owner->text : "";
}

bool BusPeer::waitForOwner(const std::string& name, const std::string& former) {
    // Each change of an owner turns the loop, and has it look again.
    sd_bus_slot* changes = nullptr;
    busResult(sd_bus_match_signal(
                  state_->bus, &changes, "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                  "NameOwnerChanged", [](sd_bus_message*, void*, sd_bus_error*) { return 0; }, nullptr),
              "sd_bus_match_signal");
    const bool inTime = Platform::RunLoop::main().runUntil([&] {
        const auto owner = ownerOf(name);
        return !owner.empty() && owner != former;
    });
    sd_bus_slot_unref(changes);
    return inTime;
}

sd_bus* BusPeer::handle() const {
    return state_->bus;
}

namespace {
BusPeer::Message newCall(sd_bus* bus, const BusPeer::Target& target, const BusPeer::Fill& fill) {
    sd_bus_message* message = nullptr;
    busResult(sd_bus_message_new_method_call(bus, &message, target.destination.c_str(), target.objectPath.c_str(),
                                             target.interface.empty() ? nullptr : target.interface.c_str(),
                                             target.method.c_str()),
              "sd_bus_message_new_method_call");
    BusPeer::Message owned(message, unreference);
    if (fill)
        fill(message);
    return owned;
}
} // namespace

std::optional<BusPeer::Reply> BusPeer::call(const Target& target, const Fill& fill) {
    const auto result = std::make_shared<std::optional<Reply>>();
    start(target, fill, result);
    Platform::RunLoop::main().runUntil([&] { return result->has_value(); });
    return *result;
}

void BusPeer::start(const Target& target, const Fill& fill, std::shared_ptr<std::optional<Reply>> reply) {
    const auto message = newCall(state_->bus, target, fill);
    sd_bus_slot* slot = nullptr;
    auto pending = std::make_unique<PendingReply>(std::move(reply));
    busResult(sd_bus_call_async(state_->bus, &slot, message.get(), replyReceived, pending.get(), UINT64_MAX),
              "sd_bus_call_async");
    // The library keeps the slot until the reply, and frees what belongs to it.
    sd_bus_slot_set_destroy_callback(slot, [](void* data) { delete static_cast<PendingReply*>(data); });
    static_cast<void>(pending.release());
    sd_bus_slot_set_floating(slot, 1);
    sd_bus_slot_unref(slot);
}

void BusPeer::send(const Target& target, const Fill& fill) {
    const auto message = newCall(state_->bus, target, fill);
    busResult(sd_bus_message_set_expect_reply(message.get(), 0), "sd_bus_message_set_expect_reply");
    busResult(sd_bus_send(state_->bus, message.get(), nullptr), "sd_bus_send");
}

void BusPeer::flush() {
    busResult(sd_bus_flush(state_->bus), "sd_bus_flush");
}

const std::vector<BusPeer::Message>& BusPeer::received() const {
    return state_->received;
}

} // namespace TestSupport
