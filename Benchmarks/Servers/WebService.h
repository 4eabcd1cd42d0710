#pragma once

#include "Platform/FileDescriptor.h"
#include "Support/TemporaryDirectory.h"

#include <sys/types.h>

#include <string>
#include <string_view>

namespace Benchmarks {

/// The development web service on a free loopback port, in a process of its own, with one item in an outbox; its log is
/// dropped. Throws std::runtime_error where it does not start.
class WebService {
public:
    /// `item` is a path below the outbox: "COMPUTER/NAME".
    explicit WebService(std::string_view item);
    WebService(const WebService&) = delete;
    WebService& operator=(const WebService&) = delete;
    ~WebService();

    /// "127.0.0.1:PORT".
    const std::string& host() const { return host_; }

private:
    TestSupport::TemporaryDirectory folder_;
    Platform::FileDescriptor output_;
    std::string host_;
    pid_t process_ = -1;
};

} // namespace Benchmarks
