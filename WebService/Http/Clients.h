#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace webservice {

/// The limits of a server.
struct Limits {
    using Duration = std::chrono::milliseconds;

    std::size_t maxConnections = 20'000;
    /// In bytes, of all clients together: what has been received and not yet processed, and what is being sent.
    std::size_t maxMemory = 128 << 20;
    /// In bytes, of what a client may still send after its last response, before its connection is closed.
    std::size_t maxDrain = 256 << 20;
    /// Between two requests.
    Duration keepAliveTimeout = std::chrono::seconds(90);
    /// For request line and headers, from the first byte on.
    Duration headerTimeout = std::chrono::seconds(10);
    /// Without a byte of a body or a response.
    Duration idleTimeout = std::chrono::seconds(90);
    /// From the last response until the client closes.
    Duration lingerTimeout = std::chrono::seconds(10);
};

class Clients;

/// The state of one client of a server. Its phase determines how long it may take, and how soon it is disconnected when
/// another client needs its slot.
class Client {
public:
    enum class Phase {
        /// No byte of a request has been received.
        Idle,
        /// Request line and headers are being received.
        Headers,
        /// The body is being received.
        Body,
        /// The request is being processed: the client waits for the server.
        Working,
        /// The response is held back on purpose, for as long as that may take.
        Held,
        /// The response is being sent.
        Response,
        /// The last response is sent; what the client still sends is discarded.
        Lingering,
    };
    using Clock = std::chrono::steady_clock;

    explicit Client(std::shared_ptr<Clients> clients);
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;
    virtual ~Client();

    void enter(Phase phase);
    Phase phase() const { return phase_; }

    /// Whether the phase has timed out.
    bool hasExpired() const { return hasExpired_; }

    /// Bytes were received or sent.
    void transferred(std::size_t bytes);

    /// Whether there is enough memory to process its request, beside the requests that are being processed already.
    bool hasMemoryToWork() const;

    /// Sets the memory that it holds. Where that is too much, other clients are disconnected.
    void setMemory(std::size_t bytes);

    const Limits& limits() const;

protected:
    /// It has timed out: what it waits for ends with an error. May be called again.
    virtual void expire() = 0;

    /// Its slot is needed: closes its connection at once.
    virtual void disconnect() = 0;

private:
    friend class Clients;

    bool isIdle() const { return phase_ == Phase::Idle || phase_ == Phase::Lingering; }
    bool isExpired(Clock::time_point now) const;
    Clock::duration waitTime(Clock::time_point now) const { return now - waitingSince_; }

    std::shared_ptr<Clients> clients_;
    /// Its place in Clients::clients_.
    std::size_t index_ = 0;
    Phase phase_ = Phase::Idle;
    bool hasExpired_ = false;
    bool isDisconnected_ = false;
    /// When the phase began.
    Clock::time_point since_;
    /// When bytes were received or sent last.
    Clock::time_point lastTransfer_;
    /// Since when the server has waited for it; moves on with every byte.
    Clock::time_point waitingSince_;
    std::size_t memory_ = 0;
};

/// All clients of a server. When connections or memory run short, the clients that the server has waited for longest
/// are disconnected: those without a request first, then the slowest.
class Clients {
public:
    using Now = std::function<Client::Clock::time_point()>;

    explicit Clients(Limits limits, Now now = &Client::Clock::now) : limits_(limits), now_(std::move(now)) {}

    const Limits& limits() const { return limits_; }
    std::size_t count() const { return clients_.size(); }

    /// Whether one more client can connect. Disconnects one for it if need be.
    bool ensureSlot();

    /// Disconnects the client that the server has waited for longest; false when it has waited for none for a second.
    bool disconnectSlowest();

    /// Expires the clients whose phases have timed out. To be called about once a second.
    void expire();

private:
    friend class Client;

    void remove(Client& client);
    void disconnect(Client& client);
    void limitMemory(const Client& spared);

    Limits limits_;
    Now now_;
    std::vector<Client*> clients_;
    std::size_t memory_ = 0;
};

} // namespace webservice
