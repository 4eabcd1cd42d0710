#pragma once

#include "WebService/Common/Descriptor.h"
#include "WebService/Common/FileIdentity.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <vector>

namespace webservice {

/// A range of an open file, sent as a body. When the file changes while it is being sent, the connection is closed
/// before the last byte, so that the client never accepts a mixture as the file.
struct FileSlice {
    Descriptor file;
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
    FileIdentity identity;
    /// Of the byte in the file whose lowest bit is flipped.
    std::optional<std::uint64_t> corruptOffset = std::nullopt;

    /// Reads its first bytes into the buffer, as many as fit; empty where the file cannot be read or has changed.
    std::string_view read(std::vector<char>& buffer) const;

    void removePrefix(std::uint64_t bytes);
};

} // namespace webservice
