#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Reports that the stream of a sent file has started.
struct UpdateBSSendStreamStartedQuery {
    RequestField sharedFileTransferID;

    static constexpr auto fields() {
        return std::tuple{
            Field{"SharedFileTransferID", "sharedFileTransferID",
                  &UpdateBSSendStreamStartedQuery::sharedFileTransferID},
        };
    }
    bool operator==(const UpdateBSSendStreamStartedQuery&) const = default;
};

} // namespace Quenmark
