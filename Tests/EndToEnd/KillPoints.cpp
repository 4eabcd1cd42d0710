#include "EndToEnd/KillPoints.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <random>
#include <set>

namespace Quenmark {

namespace {

/// Calls that change nothing outside of the process, and hand it nothing that another call would not hand out again: a
/// kill at one of them leaves what a kill at the next other call leaves.
const std::set<std::string, std::less<>> callsWithoutEffect{
    // memory, threads, signals and time
    "brk", "clone3", "madvise", "mmap", "mprotect", "mremap", "munmap", "futex", "rseq", "set_robust_list",
    "sched_yield", "rt_sigaction", "rt_sigpending", "rt_sigprocmask", "rt_sigtimedwait", "sigaltstack", "clock_gettime",
    "clock_nanosleep", "getrandom", "getpid", "gettid", "getuid", "geteuid", "restart_syscall",
    // waiting
    "epoll_create1", "epoll_ctl", "epoll_pwait2", "epoll_wait", "poll", "ppoll", "timerfd_create", "timerfd_settime",
    "eventfd2",
    // messages on the bus: changes of the status are announced at times of their own, and put nothing on disk
    "sendmsg",
    // properties of descriptors, and what the kill does itself
    "close", "dup", "fcntl", "getpeername", "getsockname", "getsockopt", "ioctl", "lseek", "setsockopt",
    // properties of files
    "access", "faccessat", "faccessat2", "newfstatat", "readlink", "readlinkat", "statx"};

bool hasEffect(std::string_view name, std::string_view text) {
    // Opening an existing file only reads it.
    const bool isRead = name == "openat" && text.find("O_CREAT") == text.npos && text.find("O_TMPFILE") == text.npos;
    return !isRead && !callsWithoutEffect.contains(name);
}

/// How often the threads of a process have made the calls of one name.
class Counts {
public:
    /// Counts a call, and gives its number among those of its thread, or 0 where another thread has had a call of that
    /// number: strace counts for each thread, and would kill there.
    std::size_t add(const std::string& thread, const std::string& name) {
        const std::size_t number = ++byThread_[thread][name];
        auto& most = most_[name];
        if (number <= most)
            return 0;
        most = number;
        return number;
    }

private:
    std::map<std::string, std::map<std::string, std::size_t>> byThread_;
    std::map<std::string, std::size_t> most_;
};

} // namespace

std::vector<std::string> KillPoint::tracer(const std::string& file) const {
    // The tracer is another process (-D), so that this one's end is the program's. With --seccomp-bpf signals get lost.
    return {"strace",
            "-D",
            "-f",
            "-o",
            file,
            "-e",
            "trace=" + call,
            "-e",
            "inject=" + call + ":signal=KILL:when=" + std::to_string(occurrence)};
}

namespace KillPoints {

std::vector<std::string> recorder(const std::string& file) {
    return {"strace", "-D", "-f", "-y", "-s", "100", "-o", file};
}

std::vector<KillPoint> ofDelivery(const std::string& file, std::string_view poll, std::string_view acknowledgement,
                                  std::size_t items) {
    std::vector<KillPoint> points;
    Counts counts;
    std::size_t acknowledged = 0;
    bool hasBegun = false;
    std::ifstream trace(file);
    for (std::string line; std::getline(trace, line);) {
        const auto blank = line.find(' ');
        const auto begin = line.find_first_not_of(' ', blank);
        const auto bracket = line.find('(', std::min(begin, line.size()));
        if (bracket == std::string::npos || line[begin] == '<' || line[begin] == '+' || line[begin] == '-')
            continue; // The end of a call, of a thread, or a signal.
        const std::string name = line.substr(begin, bracket - begin);
        const std::size_t occurrence = counts.add(line.substr(0, blank), name);
        const bool isPoll = line.find(poll) != std::string::npos;
        if (isPoll && acknowledged == items)
            return points;
        hasBegun = hasBegun || isPoll;
        acknowledged += line.find(acknowledgement) != std::string::npos ? 1 : 0;
        // The flusher's threads change files by calls that the loop's thread has made less often. Where it has made
        // more of them, as openat and write, a kill leaves what one at the flusher's call before or behind leaves.
        if (hasBegun && occurrence != 0 && hasEffect(name, line))
            points.push_back({name, occurrence, line.substr(begin)});
    }
    return {};
}

std::vector<KillPoint> drawn(std::vector<KillPoint> points, const std::string& nameOfCase) {
    const char* kills = std::getenv("QUENMARK_KILLS");
    if (kills != nullptr && std::string_view(kills) == "all")
        return points;
    const char* given = std::getenv("QUENMARK_KILLS_SEED");
    const auto seed = given != nullptr ? std::stoul(given) : std::random_device()();
    std::string mixed = nameOfCase + std::to_string(seed);
    std::seed_seq sequence(mixed.begin(), mixed.end());
    std::mt19937 engine(sequence);
    std::vector<KillPoint> sample;
    std::ranges::sample(points, std::back_inserter(sample), static_cast<std::ptrdiff_t>((points.size() + 19) / 20),
                        engine);
    std::cout << "QUENMARK_KILLS_SEED=" << seed << " draws " << sample.size() << " of " << points.size() << " kills\n";
    return sample;
}

} // namespace KillPoints
} // namespace Quenmark
