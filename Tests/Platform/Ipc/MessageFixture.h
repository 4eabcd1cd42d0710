#pragma once

#include "Platform/Ipc/MessageService.h"
#include "Platform/Loop/RunLoop.h"
#include "Support/BusPeer.h"
#include "Support/PrivateBus.h"

#include <gtest/gtest.h>
#include <systemd/sd-bus.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace IpcTests {

inline const Platform::Ipc::MessageAddress messages{{"org.example.Worker", "/org/example/Worker"},
                                                    "org.example.Messages"};
inline const TestSupport::BusPeer::Target messageMethod{messages.service.name, messages.service.objectPath,
                                                        messages.interface, "Message"};
inline const TestSupport::BusPeer::Reply emptyReply{};

/// The argument of a message: a variant that holds a string.
inline TestSupport::BusPeer::Fill text(const char* string) {
    return [string](sd_bus_message* call) { sd_bus_message_append(call, "v", "s", string); };
}

/// A text for each event: the string of a message, or the description of an error.
inline std::string textOf(const Platform::Ipc::ConnectionEvent& event) {
    if (const auto* error = std::get_if<Platform::Ipc::ConnectionError>(&event))
        return "<" + error->description + ">";
    const auto* string = std::get<Platform::Ipc::Value>(event).as<std::string>();
    return string == nullptr ? "no string" : *string;
}

/// A message service that notes what its connections receive.
class MessageFixture : public testing::Test {
protected:
    using ConnectionPointer = std::shared_ptr<Platform::Ipc::MessageConnection>;
    using Strings = std::vector<std::string>;

    std::unique_ptr<Platform::Ipc::MessageService> newService() {
        auto service = std::make_unique<Platform::Ipc::MessageService>(
            messages, [this](const ConnectionPointer& connection) { welcome(connection); });
        service->setEndHandler([this](const std::string& reason) { ends.push_back(reason); });
        service->resume();
        return service;
    }

    /// What the service does with a new connection; as given, it notes the connection and each of its events.
    std::function<void(const ConnectionPointer&)> welcome = [this](const ConnectionPointer& connection) {
        connections.push_back(connection);
        connection->setEventHandler([this, name = connection->name()](const Platform::Ipc::ConnectionEvent& event) {
            events[name].push_back(textOf(event));
        });
        connection->resume();
    };

    Platform::RunLoop loop;
    TestSupport::PrivateBus bus;
    std::vector<ConnectionPointer> connections;
    std::map<std::string, Strings> events;
    Strings ends;
};

} // namespace IpcTests
