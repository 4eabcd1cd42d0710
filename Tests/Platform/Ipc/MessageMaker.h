#pragma once

#include "Platform/Ipc/Message.h"

#include <systemd/sd-bus.h>

#include <functional>
#include <memory>

namespace IpcTests {

using MessagePointer = std::unique_ptr<sd_bus_message, sd_bus_message* (*)(sd_bus_message*)>;

/// Makes messages that are never sent.
class MessageMaker {
public:
    MessageMaker();
    ~MessageMaker();
    MessageMaker(const MessageMaker&) = delete;
    MessageMaker& operator=(const MessageMaker&) = delete;

    /// An empty method call.
    MessagePointer blank() const;
    /// A message as it looks to whoever receives it, with the arguments that `fill` appends.
    MessagePointer sealed(const std::function<void(sd_bus_message*)>& fill) const;
    /// What a receiver reads of a message with these arguments.
    std::variant<Platform::Ipc::Value, Platform::Ipc::MessageFailure>
    read(const std::function<void(sd_bus_message*)>& fill) const;
    /// What a receiver reads of a message with this value.
    std::variant<Platform::Ipc::Value, Platform::Ipc::MessageFailure> travel(const Platform::Ipc::Value& value) const;

private:
    sd_bus* bus_ = nullptr;
    int otherEnd_ = -1;
};

} // namespace IpcTests
