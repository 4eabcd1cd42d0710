#pragma once

#include "Support/TemporaryDirectory.h"

#include <string>
#include <string_view>

namespace TestSupport {

/// A web server over TLS on 127.0.0.1, `openssl s_server -www` (openssl-s_server(1)), whose certificate is for that
/// address and signed by itself.
class TlsServer {
public:
    TlsServer();
    TlsServer(const TlsServer&) = delete;
    TlsServer& operator=(const TlsServer&) = delete;
    ~TlsServer();

    /// "https://127.0.0.1:PORT" and `target`.
    std::string url(std::string_view target) const;

private:
    TemporaryDirectory folder_;
    int process_ = -1;
    std::string port_;
};

} // namespace TestSupport
