#include "Platform/Ipc/UserUnit.h"

#include "Platform/Ipc/BusHandles.h"
#include "Platform/Ipc/ErrorNames.h"

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <map>
#include <string_view>

namespace Platform::Ipc {

namespace {

constexpr const char* managerName = "org.freedesktop.systemd1";
constexpr const char* managerPath = "/org/freedesktop/systemd1";
constexpr const char* managerInterface = "org.freedesktop.systemd1.Manager";

struct BusError {
    sd_bus_error error{};

    BusError() = default;
    BusError(const BusError&) = delete;
    BusError& operator=(const BusError&) = delete;
    ~BusError() { sd_bus_error_free(&error); }
};

/// Whether a call failed because the manager's name has no owner and cannot be activated.
bool isManagerUnavailable(std::string_view name) {
    return name == ErrorName::serviceUnknown || name == ErrorName::nameHasNoOwner ||
           name.starts_with(ErrorName::spawnPrefix);
}

/// A blocking client of the user's service manager.
class Manager {
public:
    explicit Manager(Duration timeout)
        : limit_(static_cast<std::uint64_t>(std::chrono::ceil<std::chrono::microseconds>(timeout).count())) {}

    UnitResult open() {
        sd_bus* opened = nullptr;
        const int result = sd_bus_open_user(&opened);
        bus_.reset(opened);
        if (result < 0)
            return UnitFailure{false, std::string("no session bus: ") + std::strerror(-result)};
        sd_bus_set_method_call_timeout(bus_.get(), limit_);
        return {};
    }

    /// Calls a method whose reply does not matter.
    template <class... Arguments>
    UnitResult call(const char* method, const char* types, Arguments... arguments) {
        OwnedMessage reply;
        return call(reply, method, types, arguments...);
    }

    UnitResult start(const std::string& unit) {
        sd_bus_slot* slot = nullptr;
        const int result = sd_bus_match_signal(bus_.get(), &slot, managerName, managerPath, managerInterface,
                                               "JobRemoved", &Manager::jobRemoved, this);
        const OwnedSlot watch(slot);
        if (result < 0)
            return failure(result);
        // Without Subscribe() the manager emits no signals.
        if (auto called = call("Subscribe", ""); !called)
            return called;
        OwnedMessage reply;
        if (auto called = call(reply, "StartUnit", "ss", unit.c_str(), "replace"); !called)
            return called;
        const char* job = nullptr;
        if (const int read = sd_bus_message_read_basic(reply.get(), 'o', &job); read <= 0)
            return failure(read < 0 ? read : -EBADMSG);
        return awaitJob(job);
    }

private:
    template <class... Arguments>
    UnitResult call(OwnedMessage& reply, const char* method, const char* types, Arguments... arguments) {
        BusError error;
        sd_bus_message* received = nullptr;
        const int result = sd_bus_call_method(bus_.get(), managerName, managerPath, managerInterface, method,
                                              &error.error, &received, types, arguments...);
        reply.reset(received);
        if (result >= 0)
            return {};
        const std::string_view name = error.error.name == nullptr ? "" : error.error.name;
        return UnitFailure{!isManagerUnavailable(name),
                           error.error.message == nullptr ? std::strerror(-result) : std::string(error.error.message)};
    }

    UnitResult awaitJob(const std::string& job) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::microseconds(limit_);
        while (!results_.contains(job)) {
            const auto left = std::chrono::ceil<std::chrono::microseconds>(end - std::chrono::steady_clock::now());
            if (left.count() <= 0)
                return UnitFailure{true, "it has not started in time"};
            int result = sd_bus_process(bus_.get(), nullptr);
            if (result == 0)
                result = sd_bus_wait(bus_.get(), static_cast<std::uint64_t>(left.count()));
            if (result < 0 && result != -EINTR)
                return failure(result);
        }
        const auto& result = results_[job];
        return result == "done" ? UnitResult() : UnitFailure{true, "its start has ended with " + result};
    }

    static int jobRemoved(sd_bus_message* message, void* data, sd_bus_error*) {
        std::uint32_t number = 0;
        const char* job = nullptr;
        const char* unit = nullptr;
        const char* result = nullptr;
        if (sd_bus_message_read(message, "uoss", &number, &job, &unit, &result) > 0)
            static_cast<Manager*>(data)->results_[job] = result;
        return 0;
    }

    static UnitFailure failure(int result) { return {true, std::strerror(-result)}; }

    std::uint64_t limit_;
    OwnedBus bus_;
    /// Results of finished jobs by object path. The awaited job may finish before StartUnit() has returned its path.
    std::map<std::string, std::string> results_;
};

} // namespace

UnitResult enableUserUnit(const std::string& unit, Duration timeout) {
    Manager manager(timeout);
    if (auto opened = manager.open(); !opened)
        return opened;
    // runtime=false, force=false.
    if (auto enabled = manager.call("EnableUnitFiles", "asbb", 1, unit.c_str(), 0, 0); !enabled)
        return enabled;
    if (auto reloaded = manager.call("Reload", ""); !reloaded)
        return reloaded;
    return manager.start(unit);
}

} // namespace Platform::Ipc
