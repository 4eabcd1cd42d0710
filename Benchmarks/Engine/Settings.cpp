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

Settings::Settings(const std::string& host) : home_("/dev/shm/quenmark-benchmark-XXXXXX") {
    if (::mkdtemp(home_.data()) == nullptr)
        throw std::system_error(errno, std::generic_category(), "mkdtemp");
    fs::create_directories(home_ + "/Quenmark");
    fs::create_directories(home_ + "/tmp");
    fs::create_directories(home_ + "/config/quenmark");
    std::ofstream(home_ + "/config/quenmark/deployment.json") << R"({"serviceHost":")" << host << "\"}";
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

long residentKib(int process) {
    std::ifstream file("/proc/" + (process == 0 ? "self" : std::to_string(process)) + "/smaps_rollup");
    const std::string key = "Rss:";
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with(key))
            return std::stol(line.substr(key.size()));
    }
    return -1;
}

long openDescriptors() {
    const fs::directory_iterator entries("/proc/self/fd");
    return std::distance(begin(entries), end(entries)) - 1;
}

} // namespace Benchmarks
