#pragma once

#include <array>

namespace Tools {

/// The preferences that the service and the desktop application share.
inline constexpr const char* sharedDomain = "Velkarin.Quenmark";
/// This computer's identifier.
inline constexpr const char* computerIdKey = "computerIdKey";
/// The identifier of the user who is signed in.
inline constexpr const char* userIdKey = "userIdKey";
/// The folder that holds the Quenmark folder, an absolute path.
inline constexpr const char* quenmarkPathKey = "quenmarkPathKey";
/// The keys that something reads.
inline constexpr std::array knownPreferenceKeys{computerIdKey, userIdKey, quenmarkPathKey};
/// The name of the Quenmark folder in it.
inline constexpr const char* quenmarkFolderName = "Quenmark";

} // namespace Tools
