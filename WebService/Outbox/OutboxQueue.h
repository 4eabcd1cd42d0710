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

    /// The first pending upload of the computer that can be had now, noted as the one that it was offered. A file that
    /// somebody is writing to is passed over, one that has disappeared is withdrawn.
    std::optional<Upload> offerTop(std::string_view computer);

    /// The upload that the computer was offered last, or else the first one. An offered upload that is no longer
    /// pending is given once with `pending` false, so that the computer asks anew.
    std::optional<Upload> current(std::string_view computer);

    /// The file of an upload, open for reading; none while somebody is writing to it or when it is not there.
    Descriptor openFile(const Upload& upload) const;

private:
    OutboxTree& tree_;
    OutboxLedger& ledger_;
};

} // namespace webservice
