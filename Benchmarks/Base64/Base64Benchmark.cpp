// How fast 256 MiB are encoded and decoded, beside the base64 command of the GNU coreutils and beside memcpy.
//
// The peer is a process that reads its input from a file in memory. Where it writes to /dev/null, nothing holds the
// whole result; where it writes to a new file in memory, something does. Both are measured, against the operation that
// hands its result over in pieces (to /dev/null as well) and against the one that returns it as a whole. All of them
// run one after another in every round, and each ratio is the median of the rounds' ratios.

#include "Report/Report.h"
#include "Services/Base64/Base64.h"
#include "Services/Base64/Kernels.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace Quenmark;

constexpr std::size_t dataSize = std::size_t{256} * 1024 * 1024;
constexpr int rounds = 9;

void require(bool condition, const char* what) {
    if (!condition) {
        throw std::runtime_error(what);
    }
}

/// Milliseconds that a task takes.
template <class Task>
double timed(const Task& task) {
    const auto start = std::chrono::steady_clock::now();
    task();
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

/// A name in the file system that is held in memory; what is written under it goes away with the object.
class MemoryFile {
public:
    MemoryFile() : path_("/dev/shm/Base64Benchmark-XXXXXX") {
        const int descriptor = ::mkstemp(path_.data());
        require(descriptor >= 0, "no file in /dev/shm");
        ::close(descriptor);
    }
    explicit MemoryFile(std::span<const std::byte> content) : MemoryFile() {
        std::FILE* const file = std::fopen(path_.c_str(), "wb");
        require(file != nullptr, "cannot write to /dev/shm");
        const bool written = std::fwrite(content.data(), 1, content.size(), file) == content.size();
        require(std::fclose(file) == 0 && written, "no room in /dev/shm");
    }
    ~MemoryFile() { ::unlink(path_.c_str()); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    const std::string& path() const { return path_; }

private:
    std::string path_;
};

/// Runs `base64 option input > output` to its end.
void runCoreutils(const std::string& option, const std::string& input, const std::string& output) {
    std::array<std::string, 3> arguments = {"base64", option, input};
    const std::array<char*, 4> pointers = {arguments[0].data(), arguments[1].data(), arguments[2].data(), nullptr};

    posix_spawn_file_actions_t actions;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(), O_WRONLY | O_TRUNC, 0);
    pid_t process = 0;
    const int error = ::posix_spawnp(&process, "base64", &actions, nullptr, pointers.data(), environ);
    ::posix_spawn_file_actions_destroy(&actions);
    require(error == 0, "the base64 command cannot be run");
    int status = 0;
    require(::waitpid(process, &status, 0) == process && status == 0, "the base64 command failed");
}

double timeOfCoreutils(const std::string& option, const MemoryFile& input) {
    return timed([&] { runCoreutils(option, input.path(), "/dev/null"); });
}

double timeOfCoreutilsKeeping(const std::string& option, const MemoryFile& input) {
    const MemoryFile output;
    return timed([&] { runCoreutils(option, input.path(), output.path()); });
}

/// /dev/null, which takes what the pieces hold.
class NullDevice {
public:
    NullDevice() : descriptor_(::open("/dev/null", O_WRONLY | O_CLOEXEC)) { require(descriptor_ >= 0, "no /dev/null"); }
    ~NullDevice() { ::close(descriptor_); }
    NullDevice(const NullDevice&) = delete;
    NullDevice& operator=(const NullDevice&) = delete;

    void write(const void* data, std::size_t size) const {
        require(::write(descriptor_, data, size) == static_cast<ssize_t>(size), "/dev/null does not take it");
    }

private:
    int descriptor_;
};

double timeOfMemcpy(std::span<const std::byte> from, Base64::Bytes& to) {
    return timed([&] { std::memcpy(to.data(), from.data(), from.size()); });
}

/// The times of one round in milliseconds.
struct Round {
    double coreutils;
    double coreutilsKeeping;
    double pieces;
    double whole;
    double memcpy;
};

template <class Value>
double medianOf(const std::vector<Round>& results, const Value& value) {
    std::vector<double> values(results.size());
    std::transform(results.begin(), results.end(), values.begin(), value);
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void report(const char* operation, const std::vector<Round>& results) {
    const auto time = [&](double Round::*which) {
        return medianOf(results, [&](const Round& round) { return round.*which; });
    };
    const auto ratio = [&](double Round::*slower, double Round::*faster) {
        return medianOf(results, [&](const Round& round) { return round.*slower / round.*faster; });
    };
    std::printf("%s: %.2f x faster than coreutils base64 (target >= 5), the result handed on in pieces on both sides\n",
                operation, ratio(&Round::coreutils, &Round::pieces));
    std::vector<double> faster(results.size());
    std::transform(results.begin(), results.end(), faster.begin(),
                   [](const Round& round) { return round.coreutils / round.pieces; });
    Report::add({.benchmark = "Base64Benchmark",
                 .what = std::string("speed of ") + operation + ", in pieces",
                 .peer = "coreutils base64",
                 .values = faster,
                 .target = 5,
                 .isAtLeast = true});
    std::printf("%s: %.2f of the speed of memcpy, in pieces\n", operation, ratio(&Round::memcpy, &Round::pieces));
    std::printf("%s: %.2f x faster than coreutils base64, the whole result kept in new memory on both sides\n",
                operation, ratio(&Round::coreutilsKeeping, &Round::whole));
    std::printf("%s: %.2f x faster than coreutils base64, the whole result in new memory here, in pieces there\n",
                operation, ratio(&Round::coreutils, &Round::whole));
    std::printf("%s: %.2f of the speed of memcpy, the whole result in new memory\n", operation,
                ratio(&Round::memcpy, &Round::whole));
    std::printf("%s: medians in ms: coreutils %.1f, coreutils keeping its result %.1f, pieces %.1f, whole %.1f, "
                "memcpy of the data to memory in use %.1f\n",
                operation, time(&Round::coreutils), time(&Round::coreutilsKeeping), time(&Round::pieces),
                time(&Round::whole), time(&Round::memcpy));
}

std::vector<Round> measureEncoding(const Base64::Bytes& data, Base64::Bytes& copy) {
    const MemoryFile input(data);
    const NullDevice null;
    std::vector<Round> results;
    for (int round = 0; round < rounds; ++round) {
        Round times{};
        times.coreutils = timeOfCoreutils("-w0", input);
        times.pieces = timed([&] {
            Base64::encodeInPieces(data, [&](std::string_view piece) { null.write(piece.data(), piece.size()); });
        });
        times.memcpy = timeOfMemcpy(data, copy);
        times.coreutilsKeeping = timeOfCoreutilsKeeping("-w0", input);
        times.whole = timed([&] { require(Base64::base64EncodedString(data).has_value(), "not encoded"); });
        results.push_back(times);
    }
    return results;
}

std::vector<Round> measureDecoding(const Base64::Bytes& data, Base64::Bytes& copy) {
    const std::string text = Base64::base64EncodedString(data).value();
    const MemoryFile input(std::as_bytes(std::span(text)));
    const NullDevice null;
    std::vector<Round> results;
    for (int round = 0; round < rounds; ++round) {
        Round times{};
        times.coreutils = timeOfCoreutils("-d", input);
        times.pieces = timed([&] {
            const auto take = [&](std::span<const std::byte> piece) { null.write(piece.data(), piece.size()); };
            require(Base64::decodeInPieces(text, take), "not decoded");
        });
        times.memcpy = timeOfMemcpy(data, copy);
        times.coreutilsKeeping = timeOfCoreutilsKeeping("-d", input);
        times.whole = timed([&] { require(Base64::dataWithBase64EncodedString(text).has_value(), "not decoded"); });
        results.push_back(times);
    }
    require(Base64::dataWithBase64EncodedString(text) == data, "decoding does not give back what was encoded");
    return results;
}

void run() {
    std::mt19937_64 random(1);
    Base64::Bytes data(dataSize);
    std::generate(data.begin(), data.end(), [&random] { return static_cast<std::byte>(random() >> 56); });
    Base64::Bytes copy = data;

    const std::string_view kernel = Base64::Kernels::fastest().name;
    std::printf("Base64 of %zu MiB with the loops for %.*s, medians of %d rounds\n", dataSize / 1024 / 1024,
                static_cast<int>(kernel.size()), kernel.data(), rounds);
    report("encode", measureEncoding(data, copy));
    report("decode", measureDecoding(data, copy));
}

} // namespace

int main() {
    try {
        run();
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "Base64Benchmark: %s\n", error.what());
        return EXIT_FAILURE;
    }
}
