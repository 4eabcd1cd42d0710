#pragma once

#include "Platform/Ipc/Listener.h"
#include "Platform/Loop/RunLoop.h"
#include "Support/BusPeer.h"
#include "Support/LogCapture.h"
#include "Support/PrivateBus.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

/// A listener at "org.example.Worker" whose delegate does as the test says, and callers of it.
class ListenerFixture : public testing::Test, private Platform::Ipc::ListenerDelegate {
protected:
    using ConnectionPointer = std::shared_ptr<Platform::Ipc::Connection>;

    static constexpr const char* name = "org.example.Worker";
    static constexpr const char* path = "/org/example/Worker";
    static constexpr const char* interface = "org.example.Work";

    static TestSupport::BusPeer::Target work() { return {name, path, interface, "Work"}; }
    static TestSupport::BusPeer::Target rest() { return {name, path, interface, "Rest"}; }

    /// A listener, on its way to its name.
    std::unique_ptr<Platform::Ipc::Listener> newListener() {
        auto listener = std::make_unique<Platform::Ipc::Listener>(Platform::Ipc::ServiceAddress{name, path},
                                                                  Platform::Ipc::Interface{interface, methods});
        listener->setDelegate(this);
        listener->setEndHandler([this](const std::string& reason) { ends.push_back(reason); });
        listener->resume();
        return listener;
    }
    /// What the delegate does with a new connection; as given, it exports methods that note their name and peer.
    std::function<bool(const ConnectionPointer&)> decide = [this](const ConnectionPointer& connection) {
        connection->setExportedInterface({interface, methods});
        connection->setExportedObject(
            {{"Work", [this, peer = connection->peer()] { calls.push_back("Work " + peer); }},
             {"Rest", [this, peer = connection->peer()] { calls.push_back("Rest " + peer); }}});
        connection->resume();
        return true;
    };

    Platform::RunLoop loop;
    TestSupport::PrivateBus bus;
    std::vector<std::string> methods{"Work", "Rest"};
    /// The peers that the delegate was asked about, the calls that ran, and the reasons for an end.
    std::vector<std::string> asked;
    std::vector<std::string> calls;
    std::vector<std::string> ends;

private:
    bool listenerShouldAcceptNewConnection(Platform::Ipc::Listener&, const ConnectionPointer& connection) override {
        asked.push_back(connection->peer());
        return decide(connection);
    }
};
