#pragma once

#include "Platform/Ipc/Value.h"
#include "Support/BusPeer.h"

#include <functional>
#include <string>
#include <vector>

struct sd_bus_slot;

namespace ToolTest {

/// A program on the session bus that has the service's name and answers for its status object as a test says.
class StatusPeer {
public:
    using Engine = std::vector<Platform::Ipc::DictionaryEntry>;

    StatusPeer();
    StatusPeer(const StatusPeer&) = delete;
    StatusPeer& operator=(const StatusPeer&) = delete;
    ~StatusPeer();

    /// An engine that is idle since one second after 1970 began, and nothing else.
    static Engine engine(const std::string& state = "idle", const std::string& reason = "");
    /// Puts a member of an engine, or a property, in the place of the one of that name.
    static void set(Engine& entries, const std::string& name, Platform::Ipc::Value value);
    static void remove(Engine& entries, const std::string& name);

    /// Answers a reading with the properties and engines.
    int reply(sd_bus_message* call) const;
    /// Announces that the status has changed.
    void announce();
    /// Gives up the service's name, or claims it again; where another has it, this one is next.
    void leave();
    void claim();

    /// What it answers with: properties but the engines.
    Engine properties;
    std::vector<Engine> engines;
    /// What it answers a reading with instead, a result of the bus's library; where it is empty, the above.
    std::function<int(sd_bus_message* call)> answer;
    /// How often the status was read.
    int reads = 0;

    TestSupport::BusPeer peer;

private:
    int received(sd_bus_message* call);

    sd_bus_slot* slot_ = nullptr;
};

} // namespace ToolTest
