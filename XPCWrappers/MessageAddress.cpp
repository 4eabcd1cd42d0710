#include "XPCWrappers/MessageAddress.h"

#include <algorithm>

namespace Quenmark {

Platform::Ipc::MessageAddress messageAddress(const std::string& serviceName) {
    std::string objectPath = "/" + serviceName;
    std::ranges::replace(objectPath, '.', '/');
    std::ranges::replace(objectPath, '-', '_');
    return {{serviceName, objectPath}, "Velkarin.Quenmark.XPC"};
}

} // namespace Quenmark
