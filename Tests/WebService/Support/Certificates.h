#pragma once

#include <string>

namespace webservice::test {

/// The PEM files of a certificate and its key.
struct Certificate {
    std::string certificate;
    std::string key;
};

/// Makes NAME.pem and NAME.key in the folder, with openssl(1): a certificate for `host`, "IP:127.0.0.1" or
/// "DNS:localhost", signed by itself or by the authority, and valid until tomorrow or, where an authority signs it,
/// until yesterday. Throws std::runtime_error.
Certificate makeCertificate(const std::string& folder, const std::string& name, const std::string& host,
                            const Certificate* authority = nullptr, bool isExpired = false);

} // namespace webservice::test
