#pragma once

#include "Platform/Ipc/Value.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace Quenmark {

/// A universally unique identifier (RFC 9562).
class XPCUUID {
public:
    using Bytes = std::array<std::uint8_t, 16>;

    /// A new random one (RFC 9562, version 4).
    static XPCUUID uuid();
    /// The identifier of a uuid value; throws std::bad_variant_access for a value of another kind.
    static XPCUUID uuidWithXPCObject(const Platform::Ipc::Value& object);
    static XPCUUID initWithUUIDRef(const Bytes& uuidRef) { return XPCUUID(uuidRef); }

    /// The uuid value of the same 16 bytes.
    Platform::Ipc::Value newXPCObject() const;
    /// The canonical text in capital letters, such as "68753A44-4D6F-1226-9C60-0050E4C00067".
    std::string string() const;
    /// "<XPCUUID 68753A44-4D6F-1226-9C60-0050E4C00067>"
    std::string description() const;
    const Bytes& uuidRef() const { return uuidRef_; }

    /// Both go by the description.
    bool isEqual(const XPCUUID& other) const { return description() == other.description(); }
    std::size_t hash() const { return std::hash<std::string>()(description()); }
    bool operator==(const XPCUUID& other) const { return isEqual(other); }

private:
    explicit XPCUUID(const Bytes& uuidRef) : uuidRef_(uuidRef) {}
    Bytes uuidRef_;
};

} // namespace Quenmark
