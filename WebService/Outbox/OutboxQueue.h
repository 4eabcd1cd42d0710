#pragma once

#include "WebService/Outbox/OutboxLedger.h"
#include "WebService/Outbox/OutboxTree.h"

#include <optional>
#include <string_view>

namespace webservice {

/// The outbox as its computers see it: one queue each.
class OutboxQueue {
public:
    OutboxQueue(OutboxTree& tree, OutboxLedger& ledger) : tree_(tree), ledger_(ledger) {}

    /// The first pending upload of the computer that can be sent now; it is recorded as offered. A file that is being
    /// written to is skipped, one that no longer exists is withdrawn.
    std::optional<Upload> offerNext(std::string_view computer);

    /// The upload that the computer was offered last, or else the first one. An offered upload that is no longer
    /// pending is returned once with `pending` false, so that the computer polls again.
    std::optional<Upload> current(std::string_view computer);

    /// Opens the file of an upload for reading; no descriptor while a process is writing to it or when it does not
    /// exist.
    Descriptor openFile(const Upload& upload) const;

private:
    OutboxTree& tree_;
    OutboxLedger& ledger_;
};

} // namespace webservice
