#pragma once

#include "Servers/ProcessFigures.h"
#include "Support/ScopedEnvironment.h"
#include "Support/TemporaryDirectory.h"

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

namespace Benchmarks {

/// Settings of a benchmark's own for an engine of computer 7 that talks to `host`: preferences, deployment settings, a
/// Quenmark folder and a temporary area, in a new folder of `parent`.
class Settings {
public:
    /// Over TLS where a certificate is given, which alone is trusted.
    explicit Settings(const std::string& host, double release = 1343.0, const std::string& parent = "/dev/shm",
                      const std::string& certificate = "");

    std::string placed(const std::string& name) const { return home_ + "/Quenmark/" + name; }
    std::string temporary(const std::string& name) const { return home_ + "/tmp/QuenmarkTemp/" + name; }
    const std::string& home() const { return home_; }
    ~Settings();
    Settings(const Settings&) = delete;
    Settings& operator=(const Settings&) = delete;

private:
    std::string home_;
    TestSupport::ScopedEnvironment environment_;
};

/// Names of files that nginx and an engine exchange.
inline constexpr const char* servicePath = "/QuenmarkRestService/Uploads.svc/";

template <class Number>
Number median(std::vector<Number> numbers) {
    std::sort(numbers.begin(), numbers.end());
    return numbers[numbers.size() / 2];
}

/// The process that runs a program and was started last.
std::optional<int> newestProcess(const std::string& program);
/// How many descriptors this process has open.
long openDescriptors();

} // namespace Benchmarks
