#pragma once

#include "Platform/Error.h"
#include "Platform/UrlLoading/UrlRequest.h"

#include <algorithm>
#include <new>
#include <optional>
#include <string_view>
#include <utility>

namespace Platform {

/// A body that is held in memory, of at most `maximumDataInMemory` bytes. No more than these and the piece that is
/// appended are in memory at any time: pages of a larger buffer are touched as it is filled.
class GatheredBody {
public:
    /// Prepares for the body that the response announces; the error says that it is too long.
    std::optional<Error> expect(const HttpUrlResponse& response) {
        const auto length = response.expectedContentLength.value_or(0);
        if (length > maximumDataInMemory)
            return UrlError::tooLong(maximumDataInMemory);
        // Less may be received than is announced: memory for more is allocated then.
        announced_ = static_cast<std::size_t>(length);
        return makeRoom(std::min(announced_, maximumDataPiece));
    }

    std::optional<Error> append(std::string_view bytes) {
        if (bytes.size() > maximumDataInMemory - data_.size())
            return UrlError::tooLong(maximumDataInMemory);
        const std::size_t needed = data_.size() + bytes.size();
        auto error = needed > data_.capacity() ? makeRoom(std::max(announced_, needed)) : std::nullopt;
        if (!error)
            data_ += bytes;
        return error;
    }

    Data take() { return std::move(data_); }

private:
    std::optional<Error> makeRoom(std::size_t size) {
        try {
            data_.reserve(size);
            return std::nullopt;
        } catch (const std::bad_alloc&) {
            return UrlError::make(UrlError::DataLengthExceedsMaximum, "no memory is left");
        }
    }

    Data data_;
    std::size_t announced_ = 0;
};

} // namespace Platform
