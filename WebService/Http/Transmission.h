#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace webservice {

/// How a response is delayed, slowed down, cut or changed on the way. Bytes are counted from the first byte of the
/// status line.
struct Transmission {
    using Duration = std::chrono::steady_clock::duration;

    /// How a connection ends early.
    enum class End { Reset, Close, Stall };
    struct Cut {
        /// After how many bytes; after the whole response where that is shorter.
        std::uint64_t afterBytes = 0;
        End end = End::Close;
        /// How long the connection stays open after the last byte.
        Duration stall{0};
    };
    /// Header fields, those that frame the body included: what is removed or set is taken out, and what is set is added
    /// at the end.
    struct HeaderChanges {
        std::vector<std::pair<std::string, std::string>> set;
        std::vector<std::string> remove;
    };

    Duration delay{0};
    std::optional<std::uint64_t> bytesPerSecond = std::nullopt;
    std::optional<Cut> cut = std::nullopt;
    HeaderChanges headers = {};
};

} // namespace webservice
