#include "WebService/Http/Clients.h"

#include <algorithm>

namespace webservice {

namespace {

using namespace std::chrono_literals;

constexpr double leastBytesPerSecond = 8192; // of a client that nobody has to wait for
constexpr auto shortWait = 1s;               // nobody is dropped for
constexpr std::size_t littleMemory = 16384;  // which is not counted up before work
constexpr auto longestSilence = 2s;          // of a client that is only to end

} // namespace

Client::Client(std::shared_ptr<Clients> clients) : clients_(std::move(clients)), index_(clients_->clients_.size()) {
    clients_->clients_.push_back(this);
    enter(Phase::Idle);
}

Client::~Client() {
    if (!isDropped_)
        clients_->remove(*this);
}

const Limits& Client::limits() const {
    return clients_->limits_;
}

void Client::enter(Phase phase) {
    phase_ = phase;
    hasExpired_ = false;
    since_ = lastMove_ = paidUntil_ = clients_->now_();
}

void Client::moved(std::size_t bytes) {
    lastMove_ = clients_->now_();
    const std::chrono::duration<double> paid(static_cast<double>(bytes) / leastBytesPerSecond);
    paidUntil_ = std::min(lastMove_, paidUntil_ + std::chrono::duration_cast<Clock::duration>(std::min(paid, {1h})));
}

void Client::holds(std::size_t bytes) {
    if (isDropped_)
        return;
    clients_->memory_ += bytes - memory_;
    const bool isMore = bytes > memory_;
    memory_ = bytes;
    if (isMore)
        clients_->limitMemory(*this);
}

bool Client::mayWork() const {
    if (memory_ <= littleMemory)
        return true;
    std::size_t atWork = 0;
    for (const Client* client : clients_->clients_)
        atWork += client->phase_ == Phase::Working ? client->memory_ : 0;
    return atWork == 0 || atWork + memory_ <= clients_->limits_.memory;
}

bool Client::isExpired(Clock::time_point now) const {
    const Limits& limits = clients_->limits_;
    switch (phase_) {
    case Phase::Idle:
        return now - since_ > limits.idle;
    case Phase::Head:
        return now - since_ > limits.head;
    case Phase::Body:
    case Phase::Response:
        return now - lastMove_ > limits.stillness;
    case Phase::Lingering:
        return now - since_ > limits.linger || now - lastMove_ > longestSilence;
    case Phase::Working:
        break;
    }
    return false;
}

bool Clients::hasPlace() {
    return clients_.size() < limits_.connections || dropOne();
}

bool Clients::dropOne() {
    const auto now = now_();
    Client* slowest = nullptr;
    for (Client* client : clients_) {
        if (client->phase_ == Client::Phase::Working || client->debt(now) < shortWait)
            continue;
        if (slowest == nullptr ||
            std::pair(client->isIdle(), client->debt(now)) > std::pair(slowest->isIdle(), slowest->debt(now)))
            slowest = client;
    }
    if (slowest != nullptr)
        drop(*slowest);
    return slowest != nullptr;
}

/// Memory counts by how much it is and by how long it has been waited for.
void Clients::limitMemory(const Client& spared) {
    const auto now = now_();
    while (memory_ > limits_.memory) {
        Client* worst = nullptr;
        double most = 0;
        for (Client* client : clients_) {
            const double cost = static_cast<double>(client->memory_) * static_cast<double>(client->debt(now).count());
            if (client != &spared && client->phase_ != Client::Phase::Working && cost > most) {
                most = cost;
                worst = client;
            }
        }
        if (worst == nullptr)
            return;
        drop(*worst);
    }
}

/// An expired client enters another phase, or ends and is removed, but not before the loop has turned.
void Clients::expire() {
    const auto now = now_();
    for (Client* client : clients_) {
        if (client->isExpired(now)) {
            client->hasExpired_ = true;
            client->expire();
        }
    }
}

void Clients::drop(Client& client) {
    remove(client);
    client.isDropped_ = true;
    client.drop();
}

void Clients::remove(Client& client) {
    memory_ -= client.memory_;
    clients_.back()->index_ = client.index_;
    std::swap(clients_[client.index_], clients_.back());
    clients_.pop_back();
}

} // namespace webservice
