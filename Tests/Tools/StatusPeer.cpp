#include "StatusPeer.h"

#include "Platform/Ipc/Message.h"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>
#include <string_view>

namespace ToolTest {

namespace Ipc = Platform::Ipc;

namespace {

constexpr const char* peerName = "Velkarin.Quenmark.TopFileUploadXpcService";
constexpr const char* peerPath = "/Velkarin/Quenmark/Status";
constexpr const char* peerInterface = "Velkarin.Quenmark.Status1";

void checked(int result) {
    if (result < 0)
        throw std::runtime_error(std::strerror(-result));
}

/// Appends a dictionary, whose last entry is the engines where there are any.
void appendEntries(sd_bus_message* message, const StatusPeer::Engine& entries,
                   const std::vector<StatusPeer::Engine>* engines) {
    checked(sd_bus_message_open_container(message, 'a', "{sv}"));
    for (const auto& [name, value] : entries) {
        checked(sd_bus_message_open_container(message, 'e', "sv"));
        checked(sd_bus_message_append_basic(message, 's', name.c_str()));
        if (!Ipc::appendVariant(*message, value))
            throw std::runtime_error("a value cannot be appended");
        checked(sd_bus_message_close_container(message));
    }
    if (engines != nullptr) {
        checked(sd_bus_message_open_container(message, 'e', "sv"));
        checked(sd_bus_message_append_basic(message, 's', "Engines"));
        checked(sd_bus_message_open_container(message, 'v', "aa{sv}"));
        checked(sd_bus_message_open_container(message, 'a', "a{sv}"));
        for (const auto& engine : *engines)
            appendEntries(message, engine, nullptr);
        for (int container = 0; container < 3; ++container)
            checked(sd_bus_message_close_container(message));
    }
    checked(sd_bus_message_close_container(message));
}

} // namespace

StatusPeer::StatusPeer()
    : properties{{"Version", "1.0.0"},
                 {"FrontEnd", "listener"},
                 {"ServiceRoot", "http://host/QuenmarkRestService/"},
                 {"Started", std::int64_t{1'000'000}},
                 {"ItemsReceived", std::uint64_t{12}},
                 {"BytesReceived", std::uint64_t{3'500'000}},
                 {"Mode", "compatible"}} {
    const auto receive = [](sd_bus_message* call, void* self, sd_bus_error*) {
        return static_cast<StatusPeer*>(self)->received(call);
    };
    checked(sd_bus_add_object(peer.handle(), &slot_, peerPath, receive, this));
    claim();
}

StatusPeer::~StatusPeer() {
    sd_bus_slot_unref(slot_);
}

StatusPeer::Engine StatusPeer::engine(const std::string& state, const std::string& reason) {
    return {{"Id", std::uint64_t{1}},
            {"Peer", ":1.5"},
            {"State", state},
            {"Reason", reason},
            {"Since", std::int64_t{1'000'000}},
            {"Item", ""},
            {"Bytes", std::uint64_t{0}},
            {"Passes", std::uint64_t{7}}};
}

void StatusPeer::set(Engine& entries, const std::string& name, Ipc::Value value) {
    remove(entries, name);
    entries.push_back({name, std::move(value)});
}

void StatusPeer::remove(Engine& entries, const std::string& name) {
    std::erase_if(entries, [&](const auto& entry) { return entry.name == name; });
}

void StatusPeer::announce() {
    checked(sd_bus_emit_signal(peer.handle(), peerPath, "org.freedesktop.DBus.Properties", "PropertiesChanged",
                               "sa{sv}as", peerInterface, 0, 1, "Engines"));
}

void StatusPeer::leave() {
    checked(sd_bus_release_name(peer.handle(), peerName));
}

void StatusPeer::claim() {
    checked(sd_bus_request_name(peer.handle(), peerName, SD_BUS_NAME_QUEUE));
}

int StatusPeer::received(sd_bus_message* call) {
    const char* interface = "";
    if (sd_bus_message_is_method_call(call, "org.freedesktop.DBus.Properties", "GetAll") <= 0 ||
        sd_bus_message_read(call, "s", &interface) <= 0 || std::string_view(interface) != peerInterface)
        return sd_bus_reply_method_errorf(call, "org.freedesktop.DBus.Error.UnknownMethod", "unexpected call");
    ++reads;
    return answer ? answer(call) : reply(call);
}

int StatusPeer::reply(sd_bus_message* call) const {
    sd_bus_message* message = nullptr;
    checked(sd_bus_message_new_method_return(call, &message));
    const TestSupport::BusPeer::Message owned(message, [](sd_bus_message* m) { sd_bus_message_unref(m); });
    appendEntries(message, properties, &engines);
    checked(sd_bus_send(peer.handle(), message, nullptr));
    return 1;
}

} // namespace ToolTest
