#include "UserManagerPeer.h"

#include <systemd/sd-bus.h>

#include <cstring>
#include <stdexcept>

namespace ToolTest {

namespace {

constexpr const char* managerName = "org.freedesktop.systemd1";
constexpr const char* managerPath = "/org/freedesktop/systemd1";
constexpr const char* managerInterface = "org.freedesktop.systemd1.Manager";
constexpr const char* job = "/org/freedesktop/systemd1/job/7";

int succeeded(int result) {
    if (result < 0)
        throw std::runtime_error(std::strerror(-result));
    return result;
}

/// The texts at the start of a message, and in a list there.
std::string textsOf(sd_bus_message* message) {
    std::string texts;
    const bool isList = sd_bus_message_enter_container(message, 'a', "s") > 0;
    const char* text = nullptr;
    while (sd_bus_message_peek_type(message, nullptr, nullptr) > 0 &&
           sd_bus_message_read_basic(message, 's', static_cast<void*>(&text)) > 0)
        texts += std::string(" ") + text;
    if (!isList)
        return texts;
    int isRuntime = 0;
    int isForced = 0;
    succeeded(sd_bus_message_exit_container(message));
    succeeded(sd_bus_message_read(message, "bb", &isRuntime, &isForced));
    return texts + (isRuntime == 0 ? " for good" : " for now") + (isForced == 0 ? "" : " by force");
}

} // namespace

UserManagerPeer::UserManagerPeer() {
    const auto receive = [](sd_bus_message* call, void* self, sd_bus_error*) {
        return static_cast<UserManagerPeer*>(self)->received(call);
    };
    succeeded(sd_bus_add_object(peer_.handle(), &slot_, managerPath, receive, this));
    succeeded(sd_bus_request_name(peer_.handle(), managerName, 0));
}

UserManagerPeer::~UserManagerPeer() {
    sd_bus_slot_unref(slot_);
}

int UserManagerPeer::received(sd_bus_message* call) {
    const std::string method = sd_bus_message_get_member(call);
    calls.push_back(method + textsOf(call));
    if (const auto error = errors.find(method); error != errors.end())
        return sd_bus_reply_method_errorf(call, error->second.first.c_str(), "%s", error->second.second.c_str());
    if (method == "EnableUnitFiles")
        return sd_bus_reply_method_return(call, "ba(sss)", 1, 0);
    return method == "StartUnit" ? started(call) : sd_bus_reply_method_return(call, "");
}

int UserManagerPeer::started(sd_bus_message* call) {
    if (saysResultFirst)
        sayResult();
    const int result = sd_bus_reply_method_return(call, "o", job);
    if (!saysResultFirst)
        sayResult();
    return result;
}

void UserManagerPeer::sayResult() {
    // Jobs of others end meanwhile.
    for (const auto& [path, result] :
         {std::pair{"/org/freedesktop/systemd1/job/6", "failed"}, {job, startResult.c_str()}})
        succeeded(sd_bus_emit_signal(peer_.handle(), managerPath, managerInterface, "JobRemoved", "uoss", 7U, path,
                                     "x.service", result));
}

} // namespace ToolTest
