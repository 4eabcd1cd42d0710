#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

/// An nginx of its own on a free port of 127.0.0.1 that answers every request alike and keeps its connections open. It
/// ends with this object.
class LocalNginx {
public:
    /// Throws std::runtime_error where it cannot be started.
    explicit LocalNginx(const std::string& jsonAnswer);
    LocalNginx(const LocalNginx&) = delete;
    LocalNginx& operator=(const LocalNginx&) = delete;
    ~LocalNginx();

    /// "127.0.0.1:PORT".
    std::string host() const { return "127.0.0.1:" + std::to_string(port_); }

private:
    void awaitStart() const;

    std::string folder_;
    std::uint16_t port_ = 0;
    pid_t process_ = -1;
};
