#include "Tools/Status/ServiceStatus.h"

#include <algorithm>

namespace Tools {

namespace Ipc = Platform::Ipc;

namespace {

/// Leaves the reading of a status; it never leaves this file.
struct UnreadableStatus {
    std::string text;
};

template <class Record>
void readRecord(const Ipc::Value& value, const std::string& place, Record& record);

template <class Kind>
void readAs(const Ipc::Value& value, const std::string& place, Kind& result) {
    const auto* found = value.as<Kind>();
    if (found == nullptr)
        throw UnreadableStatus{place + " is of another type"};
    result = *found;
}

void read(const Ipc::Value& value, const std::string& place, std::string& result) {
    readAs(value, place, result);
}

void read(const Ipc::Value& value, const std::string& place, std::uint64_t& result) {
    readAs(value, place, result);
}

void read(const Ipc::Value& value, const std::string& place, Moment& result) {
    readAs(value, place, result.microseconds);
}

void read(const Ipc::Value& value, const std::string& place, std::vector<EngineStatus>& result) {
    Ipc::Array entries;
    readAs(value, place, entries);
    for (const auto& entry : entries) {
        const std::string where = place + "[" + std::to_string(result.size()) + "]";
        readRecord(entry, where, result.emplace_back());
    }
}

template <class Member>
void readMember(const Ipc::Value* value, const std::string& place, Member& member) {
    if (value == nullptr)
        throw UnreadableStatus{place + " is missing"};
    read(*value, place, member);
}

template <class Member>
void readMember(const Ipc::Value* value, const std::string& place, std::optional<Member>& member) {
    if (value != nullptr)
        read(*value, place, member.emplace());
}

template <class Record>
void readRecord(const Ipc::Value& value, const std::string& place, Record& record) {
    const auto* properties = value.as<Ipc::Dictionary>();
    if (properties == nullptr)
        throw UnreadableStatus{(place.empty() ? "the status" : place) + " is no dictionary"};
    const auto readField = [&](const auto& field) {
        const std::string where = (place.empty() ? "" : place + ".") + field.name;
        readMember(properties->find(field.name), where, record.*field.member);
    };
    std::apply([&](const auto&... field) { (readField(field), ...); }, Record::fields());
}

} // namespace

std::variant<ServiceStatus, std::string> serviceStatus(const Ipc::Value& properties) {
    ServiceStatus status;
    try {
        readRecord(properties, "", status);
    } catch (const UnreadableStatus& error) {
        return error.text;
    }
    return status;
}

Condition conditionOf(const EngineStatus& engine) {
    if (engine.state == "created")
        return Condition::NotStarted;
    if (engine.state == "idle")
        return Condition::Idle;
    if (engine.state == "unconfigured")
        return Condition::Unconfigured;
    for (const char* failing : {"stalled", "retrying", "blocked", "offline"}) {
        if (engine.state == failing)
            return Condition::Failing;
    }
    return Condition::Working;
}

ExitStatus exitStatusOf(const ServiceStatus& status) {
    const auto has = [&](Condition condition) {
        return std::ranges::any_of(status.engines,
                                   [&](const EngineStatus& engine) { return conditionOf(engine) == condition; });
    };
    if (has(Condition::Unconfigured))
        return ExitStatus::Configuration;
    if (has(Condition::Failing))
        return ExitStatus::TimedOut;
    return has(Condition::Idle) || has(Condition::Working) ? ExitStatus::Success : ExitStatus::TimedOut;
}

} // namespace Tools
