#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Queries how much of a shared file the service holds.
struct CheckFileExistsInTransfersQuery {
    RequestField sharedFileTransferID;
    RequestField fullPathfromFileTable;

    static constexpr auto fields() {
        return std::tuple{
            Field{"SharedFileTransferID", "sharedFileTransferID",
                  &CheckFileExistsInTransfersQuery::sharedFileTransferID},
            Field{"FullPathfromFileTable", "fullPathfromFileTable",
                  &CheckFileExistsInTransfersQuery::fullPathfromFileTable},
        };
    }
    bool operator==(const CheckFileExistsInTransfersQuery&) const = default;
};

} // namespace Quenmark
