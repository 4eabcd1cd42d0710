#include "Platform/Ipc/Descriptor.h"

#include <fcntl.h>
#include <unistd.h>

namespace Platform::Ipc {

class Descriptor::Owner {
public:
    explicit Owner(int number) : number_(number) {}
    ~Owner() { ::close(number_); }
    Owner(const Owner&) = delete;
    Owner& operator=(const Owner&) = delete;
    int number() const { return number_; }

private:
    int number_;
};

Descriptor Descriptor::adopt(int number) {
    return number < 0 ? Descriptor() : Descriptor(std::make_shared<const Owner>(number));
}

std::optional<Descriptor> Descriptor::duplicate(int number) {
    const int copy = ::fcntl(number, F_DUPFD_CLOEXEC, 3);
    if (copy < 0)
        return std::nullopt;
    return adopt(copy);
}

int Descriptor::number() const {
    return owner_ ? owner_->number() : -1;
}

} // namespace Platform::Ipc
