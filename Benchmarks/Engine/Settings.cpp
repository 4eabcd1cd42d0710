#include "Engine/Settings.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

namespace Benchmarks {

namespace fs = std::filesystem;

Settings::Settings(const std::string& host, double release, const std::string& parent, const std::string& certificate)
    : home_(parent + "/quenmark-benchmark-XXXXXX") {
    if (::mkdtemp(home_.data()) == nullptr)
        throw std::system_error(errno, std::generic_category(), "mkdtemp");
    fs::create_directories(home_ + "/Quenmark");
    fs::create_directories(home_ + "/tmp");
    fs::create_directories(home_ + "/config/quenmark");
    std::ofstream(home_ + "/config/quenmark/deployment.json")
        << R"({"serviceHost":")" << host << R"(","appKitVersionNumber":)" << release
        << (certificate.empty() ? "" : R"(,"serviceScheme":"https","certificateAuthorities":")" + certificate + "\"")
        << "}";
    std::ofstream(home_ + "/config/quenmark/Velkarin.Quenmark.json")
        << R"({"computerIdKey":"7","userIdKey":"42","quenmarkPathKey":")" << home_ << "\"}";
    environment_.set("HOME", home_);
    environment_.set("XDG_CONFIG_HOME", home_ + "/config");
    environment_.set("TMPDIR", home_ + "/tmp");
}

Settings::~Settings() {
    std::error_code ignored;
    fs::remove_all(home_, ignored);
}

std::optional<int> newestProcess(const std::string& program) {
    std::error_code ignored;
    const auto path = fs::canonical(program);
    std::optional<int> found;
    for (const auto& entry : fs::directory_iterator("/proc")) {
        const std::string name = entry.path().filename();
        if (name.find_first_not_of("0123456789") == std::string::npos &&
            fs::read_symlink(entry.path() / "exe", ignored) == path)
            found = std::max(found.value_or(0), std::stoi(name));
    }
    return found;
}

long openDescriptors() {
    const fs::directory_iterator entries("/proc/self/fd");
    return std::distance(begin(entries), end(entries)) - 1;
}

} // namespace Benchmarks
