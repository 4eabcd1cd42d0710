#pragma once

#include "Support/TemporaryDirectory.h"

#include <sys/types.h>

#include <cstdint>
#include <string>

namespace Benchmarks {

/// nginx on a free loopback port, in a process of its own, with `locations` in its one server; over TLS where `tls` has
/// the directives of a certificate. Throws std::runtime_error where it does not start.
class Nginx {
public:
    explicit Nginx(const std::string& locations, const std::string& tls = "");
    Nginx(const Nginx&) = delete;
    Nginx& operator=(const Nginx&) = delete;
    ~Nginx();

    std::string host() const { return "127.0.0.1:" + std::to_string(port_); }
    std::uint16_t port() const { return port_; }
    pid_t process() const { return process_; }

private:
    TestSupport::TemporaryDirectory folder_;
    std::uint16_t port_ = 0;
    pid_t process_ = -1;
};

} // namespace Benchmarks
