#pragma once

#include "Platform/Files/OutputStream.h"

#include <cstdint>
#include <memory>

namespace Platform {

/// Starts write-back of a growing file on the threads of the `Flusher`, so that the final flush is short.
class WriteBack {
public:
    /// The least number of bytes written between two starts of write-back.
    static constexpr std::uint64_t step = 8 << 20;

    /// Counts bytes that were written to a stream's file.
    void wrote(const OutputStream& stream, std::uint64_t bytes);

private:
    std::uint64_t waiting_ = 0;
    /// Whether write-back is in progress; no second one is started.
    std::shared_ptr<bool> isRunning_ = std::make_shared<bool>(false);
};

} // namespace Platform
