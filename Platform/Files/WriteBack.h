#pragma once

#include "Platform/Files/OutputStream.h"

#include <cstdint>
#include <memory>

namespace Platform {

/// Lets the disk begin with a file's new bytes while the file grows, on the threads of the `Flusher`, so that flushing
/// it at its end is short.
class WriteBack {
public:
    /// How many bytes come together before the disk begins with them.
    static constexpr std::uint64_t step = 8 << 20;

    /// Counts bytes that were written to a stream's file.
    void wrote(const OutputStream& stream, std::uint64_t bytes);

private:
    std::uint64_t waiting_ = 0;
    /// Whether the disk is at work; a slow one is not asked for more.
    std::shared_ptr<bool> isRunning_ = std::make_shared<bool>(false);
};

} // namespace Platform
