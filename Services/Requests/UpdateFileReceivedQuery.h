#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Reports that a shared file has been received.
struct UpdateFileReceivedQuery {
    RequestField sharedFileTransferID;
    RequestField isFileExists;

    static constexpr auto fields() {
        return std::tuple{
            Field{"SharedFileTransferID", "sharedFileTransferID", &UpdateFileReceivedQuery::sharedFileTransferID},
            Field{"IsExists", "isFileExists", &UpdateFileReceivedQuery::isFileExists},
        };
    }
    bool operator==(const UpdateFileReceivedQuery&) const = default;
};

} // namespace Quenmark
