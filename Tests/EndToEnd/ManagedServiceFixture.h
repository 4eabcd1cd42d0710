#pragma once

#include "EndToEnd/RealServiceFixture.h"

#include <cstddef>
#include <string>
#include <vector>

namespace Quenmark {

/// The real service in managed mode, which begins when the bus launches it.
class ManagedServiceFixture : public RealServiceFixture {
protected:
    static constexpr const char* confirmed = R"({"ReturnStatus":"0"})";

    /// Deploys the service and has the bus launch it, without a call.
    void launch(const std::string& serviceHost, const std::string& launcher = "");
    /// A message that is no call of the service: its process replies to it by itself.
    void ping(TestSupport::BusPeer& peer);
    /// Ends the service as SIGKILL does, and waits until it has ended.
    void killService();

    /// Puts a file into the outbox in one step, as a careful program does.
    void send(const std::string& name, const std::string& content);
    /// Has the scripted server offer one item, `wholeContent`, until its acknowledgement was confirmed.
    void offer(const std::string& jsonName, const std::string& name);
    /// The file "\a.txt" with that identifier, as a poll offers it.
    static std::string itemWith(const std::string& identifier);
    static std::size_t offsetOf(const TestSupport::HttpRequest& request);
    /// The offsets of all stream requests.
    std::vector<std::size_t> offsets() const;

    std::string wholeContent = "the content";
    int confirmations = 0;
};

} // namespace Quenmark
