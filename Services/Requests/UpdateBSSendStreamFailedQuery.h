#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Reports that the stream of a sent file has failed.
struct UpdateBSSendStreamFailedQuery {
    RequestField sharedFileTransferID;

    static constexpr auto fields() {
        return std::tuple{
            Field{"SharedFileTransferID", "sharedFileTransferID", &UpdateBSSendStreamFailedQuery::sharedFileTransferID},
        };
    }
    bool operator==(const UpdateBSSendStreamFailedQuery&) const = default;
};

} // namespace Quenmark
