#pragma once

#include "Platform/Network/NetworkFlags.h"

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

struct sockaddr;

namespace Quenmark {

/// Posted on the default notification center by a monitoring `Reachability` whose flags have changed; its object is
/// the `Reachability*`, valid during the call. The flags are not passed on: an observer queries the object again.
inline constexpr const char* kNetworkReachabilityChangedNotification = "kNetworkReachabilityChangedNotification";

/// Whether something can be reached. There are no further values.
enum ReachabilityStatus { ReachabilityNone = 0, ReachabilityAvailable = 1 };

class Reachability;

/// Where an assertion failed.
struct AssertionPlace {
    /// The operation, and the object that it was called on, which may no longer exist.
    std::string method;
    const Reachability* object;
    /// The source file, and the line number that the interface specifies for the assertion.
    std::string file;
    int line;
};

/// An operation was called on an object that has no target: a programming error.
class ReachabilityAssertion : public std::logic_error {
public:
    ReachabilityAssertion(const std::string& message, AssertionPlace place);
    const AssertionPlace& place() const { return place_; }

private:
    AssertionPlace place_;
};

/// Receives the flags, and the name of the rule that is about to be applied to them. Does nothing; a place for a
/// breakpoint.
void PrintReachabilityFlags(std::uint32_t flags, const char* comment);

/// Whether a host, an address, the Internet or the local network is reachable, by the flags of the kernel's links and
/// routes (Platform/Network/NetworkFlags.h), and, on request, notifications of changes. Every query reads the flags
/// anew; a read that fails counts as not reachable. Queries may be made on any thread.
class Reachability {
public:
    /// An object without a target; the factories make those that have one.
    Reachability();
    Reachability(const Reachability&) = delete;
    Reachability& operator=(const Reachability&) = delete;
    /// Stops the notifier.
    ~Reachability();

    /// For a host name or numeric address. Nil for an empty name. Each question looks the name up, which may wait for
    /// a name server.
    static std::unique_ptr<Reachability> reachabilityWithHostName(const std::string& hostName);
    /// For an IPv4 or IPv6 address. Nil for a null pointer or another family.
    static std::unique_ptr<Reachability> reachabilityWithAddress(const sockaddr* hostAddress);
    /// For the Internet: the zero address.
    static std::unique_ptr<Reachability> reachabilityForInternetConnection(Platform::NetworkSource source = {});
    /// For the local network: the address 169.254.0.0, evaluated by `localWiFiStatusForFlags`.
    static std::unique_ptr<Reachability> reachabilityForLocalWiFi();
    /// The same two for a target that the caller has made; nil for a null pointer.
    static std::unique_ptr<Reachability> reachabilityWithTarget(std::unique_ptr<Platform::NetworkTarget> target);
    static std::unique_ptr<Reachability>
    reachabilityForLocalWiFiWithTarget(std::unique_ptr<Platform::NetworkTarget> target);

    /// Whether the Internet can be reached now.
    static bool isReachable(Platform::NetworkSource source = {});

    /// Begins to post `kNetworkReachabilityChangedNotification` from the main queue, whenever the flags differ from
    /// those last seen. False where the kernel's changes cannot be followed, or there is no target. To be called on
    /// the loop's thread.
    bool startNotifier();
    /// Stops posting; no notification follows.
    void stopNotifier();

    /// The status by the rule of this object's kind. Throws `ReachabilityAssertion` where there is no target.
    ReachabilityStatus currentReachabilityStatus() const;
    /// Whether a connection has to be made first; false where the flags cannot be read. Throws
    /// `ReachabilityAssertion` where there is no target.
    bool connectionRequired() const;

    /// Available: reachable, and either no connection is required or one is made on traffic or on demand without
    /// anybody intervening.
    ReachabilityStatus networkStatusForFlags(std::uint32_t flags) const;
    /// Available: reachable, and direct.
    ReachabilityStatus localWiFiStatusForFlags(std::uint32_t flags) const;

private:
    bool localWiFiRef = false;
    std::unique_ptr<Platform::NetworkTarget> reachabilityRef;
};

} // namespace Quenmark
