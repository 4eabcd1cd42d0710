#pragma once

#include "Platform/Error.h"
#include "Platform/UrlLoading/UrlRequest.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

namespace Platform {

/// A body that is held in memory, of at most `maximumDataInMemory` bytes.
class GatheredBody {
public:
    /// Makes ready for the body that is announced; the error says that it is too long.
    std::optional<Error> expect(const HttpUrlResponse& head) {
        const auto length = head.expectedContentLength.value_or(0);
        if (length > maximumDataInMemory)
            return UrlError::make(UrlError::DataLengthExceedsMaximum);
        // What is announced need not come: memory for more is taken as it does.
        data_.reserve(static_cast<std::size_t>(std::min<std::uint64_t>(length, maximumDataPiece)));
        return std::nullopt;
    }

    std::optional<Error> append(std::string_view bytes) {
        if (bytes.size() > maximumDataInMemory - data_.size())
            return UrlError::make(UrlError::DataLengthExceedsMaximum);
        data_ += bytes;
        return std::nullopt;
    }

    Data take() { return std::move(data_); }

private:
    Data data_;
};

} // namespace Platform
