#include "Support/Certificates.h"

#include <cstdlib>
#include <stdexcept>

namespace webservice::test {

namespace {

void run(const std::string& command) {
    if (std::system((command + " >/dev/null 2>&1").c_str()) != 0)
        throw std::runtime_error("failed: " + command);
}

std::string inQuotes(const std::string& text) {
    return '\'' + text + '\'';
}

} // namespace

Certificate makeCertificate(const std::string& folder, const std::string& name, const std::string& host,
                            const Certificate* authority, bool isExpired) {
    const std::string base = folder + '/' + name;
    const Certificate made{.certificate = base + ".pem", .key = base + ".key"};
    const std::string request =
        "openssl req -new -newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes -subj /CN=" + name +
        " -addext subjectAltName=" + host + " -keyout " + inQuotes(made.key);
    if (authority == nullptr) {
        run(request + " -x509 -days 2 -out " + inQuotes(made.certificate));
        return made;
    }
    run(request + " -out " + inQuotes(base + ".csr"));
    run("openssl x509 -req -copy_extensions copy -in " + inQuotes(base + ".csr") + " -CA " +
        inQuotes(authority->certificate) + " -CAkey " + inQuotes(authority->key) + " -days " +
        (isExpired ? "-1" : "2") + " -out " + inQuotes(made.certificate));
    return made;
}

} // namespace webservice::test
