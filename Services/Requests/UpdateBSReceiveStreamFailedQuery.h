#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Reports that the stream of a received file has failed.
struct UpdateBSReceiveStreamFailedQuery {
    RequestField sharedFileTransferID;

    static constexpr auto fields() {
        return std::tuple{
            Field{"SharedFileTransferID", "sharedFileTransferID",
                  &UpdateBSReceiveStreamFailedQuery::sharedFileTransferID},
        };
    }
    bool operator==(const UpdateBSReceiveStreamFailedQuery&) const = default;
};

} // namespace Quenmark
