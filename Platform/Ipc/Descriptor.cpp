#include "Platform/Ipc/Descriptor.h"

#include <fcntl.h>

namespace Platform::Ipc {

Descriptor Descriptor::adopt(int number) {
    return number < 0 ? Descriptor() : Descriptor(std::make_shared<const FileDescriptor>(number));
}

std::optional<Descriptor> Descriptor::duplicate(int number) {
    const int copy = ::fcntl(number, F_DUPFD_CLOEXEC, 3);
    if (copy < 0)
        return std::nullopt;
    return adopt(copy);
}

} // namespace Platform::Ipc
