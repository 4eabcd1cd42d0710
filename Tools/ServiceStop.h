#pragma once

#include "Platform/Ipc/Bus.h"
#include "Platform/Ipc/PeerIdentity.h"
#include "Platform/Loop/Queue.h"
#include "Tools/Failure.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace Tools {

/// Why the service's process is not to be ended, by what the bus says of its connection and of this process's; nil
/// where it may be. The bus has to know this process by the identifier that it has itself: where it does not, the two
/// live in different containers, and the service's identifier is another process's here (pid_namespaces(7)).
std::optional<std::string> reasonNotToEnd(const Platform::Ipc::PeerIdentity& service,
                                          const Platform::Ipc::PeerIdentity& own, std::uint64_t ownProcess);

/// Ends the service, and waits until its bus name is free.
class ServiceStop {
public:
    /// How long the service may take to end.
    static constexpr auto limit = std::chrono::seconds(30);

    /// What came of it: whether the service ran, or why it has not ended.
    struct Outcome {
        bool hasRun = false;
        std::optional<Failure> failure;
    };

    /// `finished` is called once; it may not throw or destroy this.
    explicit ServiceStop(std::function<void(const Outcome& outcome)> finished);

    /// To be called once.
    void start();

private:
    Platform::Ipc::BusCallbacks callbacks();
    void identify(const std::string& name, std::function<void(const Platform::Ipc::PeerIdentity& identity)> identified);
    void terminate(const Platform::Ipc::PeerIdentity& service, const Platform::Ipc::PeerIdentity& own);
    void setOwner(const std::optional<std::string>& owner);
    void fail(ExitStatus status, const std::string& text);
    void finish(const Outcome& outcome);

    std::function<void(const Outcome&)> finished_;
    bool isFinished_ = false;
    /// The unique name of the service that is to end; nil before it is known.
    std::optional<std::string> owner_;
    Platform::Timer limit_;
    Platform::Ipc::Bus bus_;
};

} // namespace Tools
