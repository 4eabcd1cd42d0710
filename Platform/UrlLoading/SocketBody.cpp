#include "Platform/UrlLoading/SocketBody.h"

#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <exception>
#include <utility>

namespace Platform {

namespace {

/// How many bytes are gathered, and how many one call must have received for that to begin.
constexpr int gathered = 256 << 10;
constexpr long gatheringLimit = 50'000'000; // nanoseconds

} // namespace

SocketBody::SocketBody(FileDescriptor socket, std::uint64_t length, PieceBuffer& pieces, std::function<void()> changed)
    : socket_(std::move(socket)), left_(length), pieces_(pieces), changed_(std::move(changed)) {
    continueReading();
}

void SocketBody::continueReading() {
    if (!watch_ && !isComplete() && !isBroken() && pieces_.room() > 0)
        watch_ = RunLoop::main().watch(socket_.get(), EPOLLIN, [this](std::uint32_t) { receive(); });
}

void SocketBody::receive() {
    // A full piece has nearly always been taken by now, so the watch is ended only where it was not.
    if (pieces_.room() == 0)
        return watch_.reset();
    const auto space = pieces_.space();
    const auto wanted = static_cast<std::size_t>(std::min<std::uint64_t>(space.size(), left_));
    const auto count = ::recv(socket_.get(), space.data(), wanted, MSG_DONTWAIT);
    if (count < 0 && (errno == EAGAIN || errno == EINTR))
        return;
    if (count > 0) {
        pieces_.commit(static_cast<std::size_t>(count));
        left_ -= static_cast<std::uint64_t>(count);
    } else {
        broken_ = true;
        error_ = count < 0 ? errno : 0;
    }
    received_ = true;
    if (isComplete() || isBroken())
        watch_.reset();
    if (left_ < static_cast<std::uint64_t>(gathered))
        stopGathering();
    else if (count >= gathered)
        startGathering();
    const auto changed = changed_;
    changed();
}

void SocketBody::startGathering() {
    if (timerWatch_)
        return;
    timer_ = FileDescriptor(::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
    const itimerspec every{{0, gatheringLimit}, {0, gatheringLimit}};
    if (::timerfd_settime(timer_.get(), 0, &every, nullptr) != 0)
        return; // There is no descriptor or memory left; bytes are received as they arrive.
    try {
        timerWatch_ = RunLoop::main().watch(timer_.get(), EPOLLIN, [this](std::uint32_t) { timerFired(); });
    } catch (const std::exception&) {
        return timer_.reset();
    }
    gatherAtLeast(gathered);
}

void SocketBody::stopGathering() {
    if (!timerWatch_)
        return;
    timerWatch_.reset();
    timer_.reset();
    gatherAtLeast(1);
}

/// Where the kernel refuses this, bytes are received as they arrive.
void SocketBody::gatherAtLeast(int count) {
    ::setsockopt(socket_.get(), SOL_SOCKET, SO_RCVLOWAT, &count, sizeof count);
}

void SocketBody::timerFired() {
    std::uint64_t times = 0;
    [[maybe_unused]] const auto got = ::read(timer_.get(), &times, sizeof times);
    if (std::exchange(received_, false))
        return;
    stopGathering();
    if (watch_)
        receive();
}

} // namespace Platform
