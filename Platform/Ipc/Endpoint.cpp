#include "Platform/Ipc/Endpoint.h"

namespace Platform::Ipc {

BusObject messageObject(const MessageAddress& address) {
    return {address.service.objectPath, address.interface, {{"Message", "v", {"message"}, false}}};
}

} // namespace Platform::Ipc
