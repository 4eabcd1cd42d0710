#pragma once

#include <chrono>

/// The names and values that the engine shares with the desktop application and the web service.
namespace Quenmark::Settings {

inline constexpr const char* sharedDomain = "Velkarin.Quenmark";
inline constexpr const char* computerIdKey = "computerIdKey";
inline constexpr const char* userIdKey = "userIdKey";
inline constexpr const char* quenmarkPathKey = "quenmarkPathKey";

/// The service's own preferences.
inline constexpr const char* ownDomain = "TopFileUploadXpcService";
inline constexpr const char* pendingUploadIDsKey = "PENDING_UPLOAD_IDS";

inline constexpr std::chrono::seconds pollInterval{2};

} // namespace Quenmark::Settings
