#pragma once

#include "Platform/Files/FileDescriptor.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/un.h>

#include <cstddef>
#include <cstring>
#include <optional>
#include <string>

namespace TestSupport {

/// The socket of a service manager (sd_notify(3)).
class ServiceManagerSocket {
public:
    /// `name` as unix(7) has it: a path, or a zero byte and an abstract name.
    explicit ServiceManagerSocket(const std::string& name) : socket_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::memcpy(address.sun_path, name.data(), name.size());
        const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
        EXPECT_EQ(::bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), size), 0);
    }

    /// What has come; nil where nothing waits.
    std::optional<std::string> receive() const {
        std::string text(4096, '\0');
        const auto size = ::recv(socket_.get(), text.data(), text.size(), MSG_DONTWAIT);
        if (size < 0)
            return std::nullopt;
        text.resize(static_cast<std::size_t>(size));
        return text;
    }

private:
    Platform::FileDescriptor socket_;
};

} // namespace TestSupport
