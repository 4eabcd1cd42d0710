#include "WebService/Http/Transmitter.h"

#include <boost/asio/this_coro.hpp>

#include <algorithm>
#include <limits>

namespace webservice {

namespace {

using boost::asio::awaitable;
using Phase = Client::Phase;

constexpr std::uint64_t piecesPerSecond = 10; // at a limited rate

class Transmitter {
public:
    Transmitter(ClientSocket& client, Timers& timers, const Transmission& transmission)
        : client_(client), timers_(timers), transmission_(transmission) {
        if (transmission.cut)
            left_ = transmission.cut->afterBytes;
    }

    awaitable<void> send(std::string_view bytes) {
        while (!bytes.empty() && left_ > 0) {
            const std::size_t size = co_await nextSize(bytes.size());
            co_await client_.send(bytes.substr(0, size));
            onSent(size);
            bytes.remove_prefix(size);
        }
        isWhole_ = isWhole_ && bytes.empty();
    }

    awaitable<void> send(FileSlice slice, std::vector<char>& piece) {
        while (slice.length > 0 && left_ > 0) {
            const std::size_t size = co_await nextSize(std::min<std::uint64_t>(slice.length, piece.size()));
            const std::string_view bytes = slice.read(piece).substr(0, size);
            if (bytes.empty())
                throw Disconnected{};
            const std::size_t sent = co_await client_.sendSome(bytes);
            onSent(sent);
            slice.removePrefix(sent);
        }
        isWhole_ = isWhole_ && slice.length == 0;
    }

    awaitable<void> end(const Transmission::Cut& cut) {
        if (cut.end == Transmission::End::Reset)
            co_return co_await client_.reset();
        if (cut.end == Transmission::End::Stall) {
            client_.enter(Phase::Held);
            co_await client_.discardInput(timers_, cut.stall);
        }
        client_.cutOutput();
    }

    bool isWhole() const { return isWhole_; }

private:
    /// Gives how many bytes are sent next, once they are due.
    awaitable<std::size_t> nextSize(std::size_t available) {
        std::uint64_t size = std::min<std::uint64_t>(available, left_);
        if (transmission_.bytesPerSecond) {
            if (const auto now = timers_.now(); due_ > now)
                co_await client_.wait(timers_, due_ - now);
            size = std::min(size, std::max<std::uint64_t>(*transmission_.bytesPerSecond / piecesPerSecond, 1));
        }
        co_return static_cast<std::size_t>(size);
    }

    /// Time that the client takes is not caught up on.
    void onSent(std::size_t bytes) {
        left_ -= bytes;
        if (transmission_.bytesPerSecond) {
            const auto rate = static_cast<double>(*transmission_.bytesPerSecond);
            const std::chrono::duration<double> time(static_cast<double>(bytes) / rate);
            due_ = std::max(due_, timers_.now()) + std::chrono::duration_cast<Timers::Clock::duration>(time);
        }
    }

    ClientSocket& client_;
    Timers& timers_;
    const Transmission& transmission_;
    std::uint64_t left_ = std::numeric_limits<std::uint64_t>::max(); // until the cut
    bool isWhole_ = true;
    Timers::Clock::time_point due_{};
};

} // namespace

awaitable<bool> transmit(ClientSocket& client, Timers& timers, Response response, std::string header,
                         std::vector<char>& piece) {
    const Transmission& transmission = *response.transmission;
    client.setBodyMemory(response.body.size());
    if (transmission.delay.count() > 0) {
        client.enter(Phase::Held);
        co_await client.wait(timers, transmission.delay);
    }
    client.enter(Phase::Response);
    Transmitter transmitter(client, timers, transmission);
    co_await transmitter.send(header);
    if (response.file)
        co_await transmitter.send(std::move(*response.file), piece);
    else
        co_await transmitter.send(response.body);
    if (transmission.cut)
        co_await transmitter.end(*transmission.cut);
    client.setBodyMemory(0);
    co_return transmitter.isWhole();
}

awaitable<void> sendEvents(ClientSocket& client, EventSource& events) {
    const auto timers = realTimers(co_await boost::asio::this_coro::executor);
    events.wake = [&client] { client.wake(); };
    while (true) {
        const auto now = EventSource::Clock::now();
        const std::string bytes = events.take(now);
        if (bytes.empty()) {
            client.enter(Phase::Held);
            co_await client.wait(*timers, events.idleTime(now), true);
        } else {
            client.enter(Phase::Response);
            co_await client.send(bytes);
        }
    }
}

} // namespace webservice
