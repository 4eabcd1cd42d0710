#pragma once

/// The names of D-Bus errors that are sent and recognised here (D-Bus Specification, "Error messages"; the names are
/// those of sd-bus-errors(3)).
namespace Platform::Ipc::ErrorName {

inline constexpr const char* accessDenied = "org.freedesktop.DBus.Error.AccessDenied";
inline constexpr const char* failed = "org.freedesktop.DBus.Error.Failed";
inline constexpr const char* invalidArguments = "org.freedesktop.DBus.Error.InvalidArgs";
inline constexpr const char* limitsExceeded = "org.freedesktop.DBus.Error.LimitsExceeded";
inline constexpr const char* nameHasNoOwner = "org.freedesktop.DBus.Error.NameHasNoOwner";
inline constexpr const char* noMemory = "org.freedesktop.DBus.Error.NoMemory";
inline constexpr const char* noReply = "org.freedesktop.DBus.Error.NoReply";
inline constexpr const char* serviceUnknown = "org.freedesktop.DBus.Error.ServiceUnknown";
/// The names of all failures to launch a service begin with it.
inline constexpr const char* spawnPrefix = "org.freedesktop.DBus.Error.Spawn.";
inline constexpr const char* timedOut = "org.freedesktop.DBus.Error.TimedOut";
inline constexpr const char* unknownInterface = "org.freedesktop.DBus.Error.UnknownInterface";
inline constexpr const char* unknownMethod = "org.freedesktop.DBus.Error.UnknownMethod";
inline constexpr const char* unknownObject = "org.freedesktop.DBus.Error.UnknownObject";

} // namespace Platform::Ipc::ErrorName
