#include "WebService/Http/Clients.h"

#include <algorithm>

namespace webservice {

namespace {

using namespace std::chrono_literals;

constexpr double minBytesPerSecond = 8192;      // below this, the server waits for the client
constexpr auto minWait = 1s;                    // a client that was waited for less is not disconnected
constexpr std::size_t negligibleMemory = 16384; // for which no other memory has to be free
constexpr auto lingerIdleTimeout = 2s;          // of a connection that is about to close

} // namespace

Client::Client(std::shared_ptr<Clients> clients) : clients_(std::move(clients)), index_(clients_->clients_.size()) {
    clients_->clients_.push_back(this);
    enter(Phase::Idle);
}

Client::~Client() {
    if (!isDisconnected_)
        clients_->remove(*this);
}

const Limits& Client::limits() const {
    return clients_->limits_;
}

void Client::enter(Phase phase) {
    phase_ = phase;
    hasExpired_ = false;
    since_ = lastTransfer_ = waitingSince_ = clients_->now_();
}

void Client::transferred(std::size_t bytes) {
    lastTransfer_ = clients_->now_();
    const std::chrono::duration<double> paid(static_cast<double>(bytes) / minBytesPerSecond);
    waitingSince_ =
        std::min(lastTransfer_, waitingSince_ + std::chrono::duration_cast<Clock::duration>(std::min(paid, {1h})));
}

void Client::setMemory(std::size_t bytes) {
    if (isDisconnected_)
        return;
    clients_->memory_ += bytes - memory_;
    const bool isMore = bytes > memory_;
    memory_ = bytes;
    if (isMore)
        clients_->limitMemory(*this);
}

bool Client::hasMemoryToWork() const {
    if (memory_ <= negligibleMemory)
        return true;
    std::size_t atWork = 0;
    for (const Client* client : clients_->clients_)
        atWork += client->phase_ == Phase::Working ? client->memory_ : 0;
    return atWork == 0 || atWork + memory_ <= clients_->limits_.maxMemory;
}

bool Client::isExpired(Clock::time_point now) const {
    const Limits& limits = clients_->limits_;
    switch (phase_) {
    case Phase::Idle:
        return now - since_ > limits.keepAliveTimeout;
    case Phase::Headers:
        return now - since_ > limits.headerTimeout;
    case Phase::Body:
    case Phase::Response:
        return now - lastTransfer_ > limits.idleTimeout;
    case Phase::Lingering:
        return now - since_ > limits.lingerTimeout || now - lastTransfer_ > lingerIdleTimeout;
    case Phase::Working:
    case Phase::Held:
        break;
    }
    return false;
}

bool Clients::ensureSlot() {
    return clients_.size() < limits_.maxConnections || disconnectSlowest();
}

bool Clients::disconnectSlowest() {
    const auto now = now_();
    Client* slowest = nullptr;
    for (Client* client : clients_) {
        if (client->phase_ == Client::Phase::Working || client->waitTime(now) < minWait)
            continue;
        if (slowest == nullptr ||
            std::pair(client->isIdle(), client->waitTime(now)) > std::pair(slowest->isIdle(), slowest->waitTime(now)))
            slowest = client;
    }
    if (slowest != nullptr)
        disconnect(*slowest);
    return slowest != nullptr;
}

/// Disconnects clients by the product of their memory and the time that they were waited for.
void Clients::limitMemory(const Client& spared) {
    const auto now = now_();
    while (memory_ > limits_.maxMemory) {
        Client* worst = nullptr;
        double most = 0;
        for (Client* client : clients_) {
            const double cost =
                static_cast<double>(client->memory_) * static_cast<double>(client->waitTime(now).count());
            if (client != &spared && client->phase_ != Client::Phase::Working && cost > most) {
                most = cost;
                worst = client;
            }
        }
        if (worst == nullptr)
            return;
        disconnect(*worst);
    }
}

/// An expired client enters another phase, or is removed, in a later turn of the loop.
void Clients::expire() {
    const auto now = now_();
    for (Client* client : clients_) {
        if (client->isExpired(now)) {
            client->hasExpired_ = true;
            client->expire();
        }
    }
}

void Clients::disconnect(Client& client) {
    remove(client);
    client.isDisconnected_ = true;
    client.disconnect();
}

void Clients::remove(Client& client) {
    memory_ -= client.memory_;
    clients_.back()->index_ = client.index_;
    std::swap(clients_[client.index_], clients_.back());
    clients_.pop_back();
}

} // namespace webservice
