#include "MessageMaker.h"

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

namespace IpcTests {

using Platform::Ipc::MessageFailure;
using Platform::Ipc::Value;

namespace {
void check(int result) {
    if (result < 0)
        throw std::runtime_error("a message cannot be made");
}
} // namespace

MessageMaker::MessageMaker() {
    std::array<int, 2> ends{};
    check(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()));
    otherEnd_ = ends[1];
    check(sd_bus_new(&bus_));
    check(sd_bus_set_fd(bus_, ends[0], ends[0]));
    check(sd_bus_start(bus_));
}

MessageMaker::~MessageMaker() {
    sd_bus_close_unref(bus_);
    ::close(otherEnd_);
}

MessagePointer MessageMaker::blank() const {
    sd_bus_message* message = nullptr;
    check(sd_bus_message_new_method_call(bus_, &message, "org.example.Worker", "/org/example/Worker",
                                         "org.example.Messages", "Message"));
    return {message, sd_bus_message_unref};
}

MessagePointer MessageMaker::sealed(const std::function<void(sd_bus_message*)>& fill) const {
    auto message = blank();
    fill(message.get());
    check(sd_bus_message_seal(message.get(), 1, 0));
    return message;
}

std::variant<Value, MessageFailure> MessageMaker::read(const std::function<void(sd_bus_message*)>& fill) const {
    return Platform::Ipc::readValue(*sealed(fill));
}

std::variant<Value, MessageFailure> MessageMaker::travel(const Value& value) const {
    auto message = blank();
    if (const auto appended = Platform::Ipc::appendVariant(*message, value); !appended)
        return appended.error();
    check(sd_bus_message_seal(message.get(), 1, 0));
    return Platform::Ipc::readValue(*message);
}

} // namespace IpcTests
