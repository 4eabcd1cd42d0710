#include "Platform/Ipc/IncomingCall.h"

#include <systemd/sd-bus.h>

namespace Platform::Ipc {

namespace {
std::string orEmpty(const char* text) {
    return text == nullptr ? "" : text;
}
} // namespace

IncomingCall::IncomingCall(sd_bus_message& message) : message_(sd_bus_message_ref(&message)) {}
IncomingCall::~IncomingCall() {
    sd_bus_message_unref(message_);
}

std::string IncomingCall::sender() const {
    return orEmpty(sd_bus_message_get_sender(message_));
}
std::string IncomingCall::interface() const {
    return orEmpty(sd_bus_message_get_interface(message_));
}
std::string IncomingCall::method() const {
    return orEmpty(sd_bus_message_get_member(message_));
}
bool IncomingCall::wantsReply() const {
    return sd_bus_message_get_expect_reply(message_) > 0;
}

std::variant<Value, MessageFailure> IncomingCall::argument() const {
    sd_bus_message_rewind(message_, 1);
    return readValue(*message_);
}

// A reply fails where the bus is disconnected; the bus itself reports that.
void IncomingCall::reply() const {
    sd_bus_reply_method_return(message_, "");
}

void IncomingCall::fail(const char* errorName, const std::string& text) const {
    sd_bus_reply_method_errorf(message_, errorName, "%s", text.c_str());
}

} // namespace Platform::Ipc
