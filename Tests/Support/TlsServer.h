#pragma once

#include "Support/TemporaryDirectory.h"

#include <string>
#include <string_view>
#include <vector>

namespace TestSupport {

/// A web server over TLS on 127.0.0.1, `openssl s_server -www` (openssl-s_server(1)), whose certificate is for that
/// address and signed by itself.
class TlsServer {
public:
    /// With further options of openssl-s_server(1).
    explicit TlsServer(const std::vector<std::string>& options = {});
    TlsServer(const TlsServer&) = delete;
    TlsServer& operator=(const TlsServer&) = delete;
    ~TlsServer();

    /// "https://127.0.0.1:PORT" and `target`.
    std::string url(std::string_view target) const;
    std::string host() const { return "127.0.0.1:" + port_; }
    /// The file of its certificate.
    std::string certificate() const { return folder_.path("certificate.pem"); }

private:
    TemporaryDirectory folder_;
    int process_ = -1;
    std::string port_;
};

} // namespace TestSupport
