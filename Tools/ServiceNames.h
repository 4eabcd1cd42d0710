#pragma once

/// The names by which the service is reached on the session bus (Docs/bus.md).
namespace Tools::ServiceNames {

inline constexpr const char* service = "Velkarin.Quenmark.TopFileUploadXpcService";
inline constexpr const char* object = "/Velkarin/Quenmark/TopFileUploadXpcService";
/// Its unit of the user's service manager.
inline constexpr const char* unit = "quenmark.service";
inline constexpr const char* engineInterface = "Velkarin.Quenmark.TopFileUploadXpcServiceProtocol";
inline constexpr const char* engineMethod = "GetTopFileUpload";
inline constexpr const char* messageInterface = "Velkarin.Quenmark.XPC";
inline constexpr const char* messageMethod = "Message";
inline constexpr const char* statusObject = "/Velkarin/Quenmark/Status";
inline constexpr const char* statusInterface = "Velkarin.Quenmark.Status1";

} // namespace Tools::ServiceNames
