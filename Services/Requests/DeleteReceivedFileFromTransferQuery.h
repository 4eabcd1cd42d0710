#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Removes a received file from the transfers.
struct DeleteReceivedFileFromTransferQuery {
    RequestField isFileExists;
    RequestField savedFileID;
    RequestField sharedFileTransferID;

    static constexpr auto fields() {
        return std::tuple{
            Field{"IsExists", "isFileExists", &DeleteReceivedFileFromTransferQuery::isFileExists},
            Field{"SavedFileID", "savedFileID", &DeleteReceivedFileFromTransferQuery::savedFileID},
            Field{"SharedFileTransferID", "sharedFileTransferID",
                  &DeleteReceivedFileFromTransferQuery::sharedFileTransferID},
        };
    }
    bool operator==(const DeleteReceivedFileFromTransferQuery&) const = default;
};

} // namespace Quenmark
