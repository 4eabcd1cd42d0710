#pragma once

#include "Platform/Ipc/Endpoint.h"

/// The names by which other programs reach the service.
namespace Quenmark::ServiceNames {

inline const Platform::Ipc::ServiceAddress address{"Velkarin.Quenmark.TopFileUploadXpcService",
                                                   "/Velkarin/Quenmark/TopFileUploadXpcService"};
inline const Platform::Ipc::Interface exportedInterface{"Velkarin.Quenmark.TopFileUploadXpcServiceProtocol",
                                                        {"GetTopFileUpload"}};

/// The object that shows what the service is doing.
inline constexpr const char* statusPath = "/Velkarin/Quenmark/Status";
inline constexpr const char* statusInterface = "Velkarin.Quenmark.Status1";

} // namespace Quenmark::ServiceNames
