#include "Platform/UrlLoading/SocketBody.h"

#include <sys/epoll.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace Platform {

SocketBody::SocketBody(FileDescriptor socket, std::uint64_t length, PieceBuffer& pieces, std::function<void()> changed)
    : socket_(std::move(socket)), left_(length), pieces_(pieces), changed_(std::move(changed)) {
    continueReading();
}

void SocketBody::continueReading() {
    if (!watch_ && !isComplete() && !isBroken() && pieces_.room() > 0)
        watch_ = RunLoop::main().watch(socket_.get(), EPOLLIN, [this](std::uint32_t) { receive(); });
}

void SocketBody::receive() {
    // A full piece has nearly always been taken by now, so the watch is not ended before it is clear that it was not.
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
    if (isComplete() || isBroken())
        watch_.reset();
    const auto changed = changed_;
    changed();
}

} // namespace Platform
