#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Reports that a sent file has been received.
struct UpdateFileSendReceivedQuery {
    RequestField SharedFileTransferID;

    static constexpr auto fields() {
        return std::tuple{
            Field{"SharedFileTransferID", "SharedFileTransferID", &UpdateFileSendReceivedQuery::SharedFileTransferID},
        };
    }
    bool operator==(const UpdateFileSendReceivedQuery&) const = default;
};

} // namespace Quenmark
