#pragma once

#include "WebService/Common/RequestError.h"

#include <cstddef>
#include <string_view>

namespace webservice {

/// The body of a request in which a body means nothing.
class IgnoredBody {
public:
    /// Throws RequestError for one that is longer than 64 KiB.
    void receive(std::string_view piece) {
        length_ += piece.size();
        if (length_ > maxSize)
            throw tooLong("the body is longer than 64 KiB");
    }

private:
    static constexpr std::size_t maxSize = 65536;
    std::size_t length_ = 0;
};

} // namespace webservice
