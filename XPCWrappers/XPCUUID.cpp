#include "XPCWrappers/XPCUUID.h"

#include <random>
#include <stdexcept>
#include <variant>

namespace Quenmark {

XPCUUID XPCUUID::uuid() {
    std::random_device random;
    std::uniform_int_distribution<unsigned> byte(0, 255);
    Bytes bytes{};
    for (auto& value : bytes)
        value = static_cast<std::uint8_t>(byte(random));
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);
    return XPCUUID(bytes);
}

XPCUUID XPCUUID::uuidWithXPCObject(const Platform::Ipc::Value& object) {
    return XPCUUID(std::get<Platform::Ipc::Uuid>(object.storage()).bytes);
}

Platform::Ipc::Value XPCUUID::newXPCObject() const {
    return Platform::Ipc::Uuid{uuidRef_};
}

std::string XPCUUID::string() const {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text;
    for (std::size_t at = 0; at < uuidRef_.size(); ++at) {
        if (at == 4 || at == 6 || at == 8 || at == 10)
            text += '-';
        text += digits[uuidRef_[at] >> 4];
        text += digits[uuidRef_[at] & 15];
    }
    return text;
}

std::string XPCUUID::description() const {
    return "<XPCUUID " + string() + ">";
}

} // namespace Quenmark
