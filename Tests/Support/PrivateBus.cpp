#include "Support/PrivateBus.h"

#include "Platform/Files/FileWatcher.h"
#include "Platform/Loop/RunLoop.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <system_error>

namespace TestSupport {

namespace {

constexpr int startLimit = 20'000; // milliseconds

/// What a desktop's session bus is set up with, but for its socket and its services.
constexpr const char* configuration =
    R"(<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <keep_umask/>
  <listen>unix:path=@FOLDER@/bus</listen>
  <auth>EXTERNAL</auth>
  <servicedir>@FOLDER@/services</servicedir>
  <policy context="default">
    <allow send_destination="*" eavesdrop="true"/>
    <allow eavesdrop="true"/>
    <allow own="*"/>
  </policy>
  <limit name="max_incoming_bytes">1000000000</limit>
  <limit name="max_incoming_unix_fds">250000000</limit>
  <limit name="max_outgoing_bytes">1000000000</limit>
  <limit name="max_outgoing_unix_fds">250000000</limit>
  <limit name="max_message_size">1000000000</limit>
  <limit name="service_start_timeout">120000</limit>
  <limit name="auth_timeout">240000</limit>
  <limit name="pending_fd_timeout">150000</limit>
  <limit name="max_completed_connections">100000</limit>
  <limit name="max_incomplete_connections">10000</limit>
  <limit name="max_connections_per_user">100000</limit>
  <limit name="max_pending_service_starts">10000</limit>
  <limit name="max_names_per_connection">50000</limit>
  <limit name="max_match_rules_per_connection">50000</limit>
  <limit name="max_replies_per_connection">50000</limit>
</busconfig>
)";

std::string replaced(std::string text, const std::string& what, const std::string& by) {
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size()))
        text.replace(at, what.size(), by);
    return text;
}

[[noreturn]] void becomeDaemon(const TemporaryDirectory& folder, int addressOutput) {
    ::prctl(PR_SET_PDEATHSIG, SIGKILL);
    const std::string configurationOption = "--config-file=" + folder.path("bus.conf");
    const int log = ::open(folder.path("bus.log").c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    ::dup2(log, STDERR_FILENO);
    if (addressOutput == 3)
        ::fcntl(3, F_SETFD, 0);
    else
        ::dup2(addressOutput, 3);
    ::execlp("dbus-daemon", "dbus-daemon", configurationOption.c_str(), "--print-address=3", "--nofork", "--nopidfile",
             "--nosyslog", nullptr);
    ::_exit(127);
}

/// The first line that comes from a descriptor.
std::string firstLine(int descriptor) {
    std::string line;
    while (!line.ends_with('\n')) {
        pollfd ready{descriptor, POLLIN, 0};
        std::array<char, 256> piece{};
        if (::poll(&ready, 1, startLimit) <= 0)
            throw std::runtime_error("dbus-daemon does not start");
        const auto count = ::read(descriptor, piece.data(), piece.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            throw std::runtime_error("dbus-daemon gives no address");
        line.append(piece.data(), static_cast<std::size_t>(count));
    }
    line.pop_back();
    return line;
}

} // namespace

PrivateBus::PrivateBus(const std::vector<Service>& services) {
    const char* launcher = std::getenv("QUENMARK_BUS_LAUNCHER");
    const std::string prefix = launcher == nullptr ? "" : std::string(launcher) + " ";
    for (const auto& service : services)
        folder_.write("services/" + service.name + ".service",
                      "[D-BUS Service]\nName=" + service.name + "\nExec=" + prefix + service.commandLine + "\n");
    folder_.write("services/.keep", "");
    folder_.write("bus.log", "");
    folder_.write("bus.conf", replaced(configuration, "@FOLDER@", folder_.path()));

    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe2");
    process_ = ::fork();
    if (process_ == 0)
        becomeDaemon(folder_, ends[1]);
    ::close(ends[1]);
    if (process_ > 0) {
        try {
            address_ = firstLine(ends[0]);
        } catch (...) {
            ::close(ends[0]);
            kill();
            throw;
        }
    }
    ::close(ends[0]);
    if (process_ < 0)
        throw std::system_error(errno, std::generic_category(), "fork");
    environment_.set("DBUS_SESSION_BUS_ADDRESS", address_);
    environment_.set("DBUS_STARTER_ADDRESS", std::nullopt);
    environment_.set("DBUS_STARTER_BUS_TYPE", std::nullopt);
}

bool PrivateBus::waitForLog(std::string_view text) const {
    // Wakes the loop whenever the log grows.
    const Platform::FileWatcher watcher(folder_.path(), [](const Platform::FileEvent&) {});
    return Platform::RunLoop::main().runUntil([&] { return log().find(text) != std::string::npos; });
}

PrivateBus::~PrivateBus() {
    kill();
}

void PrivateBus::kill() {
    if (process_ <= 0)
        return;
    ::kill(process_, SIGKILL);
    ::waitpid(process_, nullptr, 0);
    process_ = -1;
}

} // namespace TestSupport
