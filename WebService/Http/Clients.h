#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

namespace webservice {

/// What the clients of a server may take of it.
struct Limits {
    using Duration = std::chrono::milliseconds;

    std::size_t connections = 10'000;
    /// Of bytes that all of them together may hold: what has been received and not yet answered, and what is being
    /// sent.
    std::size_t memory = 128 << 20;
    Duration idle = std::chrono::seconds(90);      // without a request
    Duration head = std::chrono::seconds(10);      // for a request's head, once its first byte has come
    Duration stillness = std::chrono::seconds(90); // without progress in a body or a response
    Duration linger = std::chrono::seconds(10);    // from the last response to the client's own end
};

class Clients;

/// One client's share of a server. What it waits for says how long it may wait, and how readily it is dropped when
/// another client needs its place.
class Client {
public:
    enum class Phase {
        Idle,      // no byte of a request has come
        Head,      // a request's head is being received
        Body,      // its body is
        Working,   // the server is at work; the client waits for it and not the other way round
        Response,  // the response is being sent
        Lingering, // everything is sent; what the client still sends is discarded
    };
    using Clock = std::chrono::steady_clock;

    explicit Client(std::shared_ptr<Clients> clients);
    Client(const Client&) = delete;
    Client& operator=(const Client&) = delete;
    virtual ~Client();

    void enter(Phase phase);
    Phase phase() const { return phase_; }

    /// Whether the phase has taken too long.
    bool hasExpired() const { return hasExpired_; }

    /// Some bytes went in or out.
    void moved(std::size_t bytes);

    /// Whether there is memory enough to work on its request, beside the others that are being worked on and may not be
    /// dropped.
    bool mayWork() const;

    /// The memory that it takes by now. Others are dropped where that is too much together.
    void holds(std::size_t bytes);

protected:
    const Limits& limits() const;

    /// Its time is up: what it waits for ends with an error. May be called again.
    virtual void expire() = 0;

    /// Its place is needed: its connection is closed at once.
    virtual void drop() = 0;

private:
    friend class Clients;

    bool isIdle() const { return phase_ == Phase::Idle || phase_ == Phase::Lingering; }
    bool isExpired(Clock::time_point now) const;
    Clock::duration debt(Clock::time_point now) const { return now - paidUntil_; }

    std::shared_ptr<Clients> clients_;
    std::size_t index_ = 0; // in clients_
    Phase phase_ = Phase::Idle;
    bool hasExpired_ = false;
    bool isDropped_ = false;
    Clock::time_point since_;     // when the phase began
    Clock::time_point lastMove_;  // when bytes went in or out
    Clock::time_point paidUntil_; // what is behind the present is what its bytes came too slowly by
    std::size_t memory_ = 0;
};

/// All clients of a server. When places or memory run short, those that the server has waited for longest are dropped:
/// the ones without a request first, then those whose bytes come or go most slowly.
class Clients {
public:
    using Now = std::function<Client::Clock::time_point()>;

    explicit Clients(Limits limits, Now now = &Client::Clock::now) : limits_(limits), now_(std::move(now)) {}

    const Limits& limits() const { return limits_; }
    std::size_t count() const { return clients_.size(); }

    /// Whether there is a place for one more, which a client may be dropped for.
    bool hasPlace();

    /// Drops the client that the server has waited for longest; false when it has waited for none for a second.
    bool dropOne();

    /// Expires what has waited for too long. To be called once in a while.
    void expire();

private:
    friend class Client;

    void remove(Client& client);
    void drop(Client& client);
    void limitMemory(const Client& spared);

    Limits limits_;
    Now now_;
    std::vector<Client*> clients_;
    std::size_t memory_ = 0;
};

} // namespace webservice
