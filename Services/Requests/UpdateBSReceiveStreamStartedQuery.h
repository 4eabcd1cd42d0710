#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Reports that the stream of a received file has started.
struct UpdateBSReceiveStreamStartedQuery {
    RequestField sharedFileTransferID;

    static constexpr auto fields() {
        return std::tuple{
            Field{"SharedFileTransferID", "sharedFileTransferID",
                  &UpdateBSReceiveStreamStartedQuery::sharedFileTransferID},
        };
    }
    bool operator==(const UpdateBSReceiveStreamStartedQuery&) const = default;
};

} // namespace Quenmark
