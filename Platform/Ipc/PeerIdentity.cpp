#include "Platform/Ipc/PeerIdentity.h"

#include <systemd/sd-bus.h>

#include <memory>

namespace Platform::Ipc {

namespace {

struct Unreference {
    void operator()(sd_bus_creds* credentials) const { sd_bus_creds_unref(credentials); }
};

std::uint32_t number(const Dictionary& credentials, const char* name) {
    const Value* value = credentials.find(name);
    const auto* found = value == nullptr ? nullptr : value->as<std::uint64_t>();
    return found == nullptr || *found > PeerIdentity::unset ? PeerIdentity::unset : static_cast<std::uint32_t>(*found);
}

} // namespace

PeerIdentity peerIdentity(const Value& credentials) {
    PeerIdentity identity;
    const auto* values = credentials.as<Dictionary>();
    if (values == nullptr)
        return identity;
    identity.effectiveUser = number(*values, "UnixUserID");
    identity.process = number(*values, "ProcessID");
    if (identity.process == PeerIdentity::unset)
        return identity;

    sd_bus_creds* read = nullptr;
    constexpr std::uint64_t wanted = SD_BUS_CREDS_EUID | SD_BUS_CREDS_EGID | SD_BUS_CREDS_AUDIT_SESSION_ID;
    if (sd_bus_creds_new_from_pid(&read, static_cast<pid_t>(identity.process), wanted) < 0)
        return identity;
    const std::unique_ptr<sd_bus_creds, Unreference> process(read);
    uid_t user = 0;
    if (sd_bus_creds_get_euid(read, &user) < 0 || user != identity.effectiveUser)
        return identity;
    gid_t group = 0;
    if (sd_bus_creds_get_egid(read, &group) >= 0)
        identity.effectiveGroup = group;
    std::uint32_t session = 0;
    if (sd_bus_creds_get_audit_session_id(read, &session) >= 0)
        identity.auditSession = session;
    return identity;
}

} // namespace Platform::Ipc
