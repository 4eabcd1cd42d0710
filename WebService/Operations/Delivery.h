#pragma once

#include "WebService/Common/Work.h"
#include "WebService/Operations/Accounts.h"
#include "WebService/Outbox/OutboxTree.h"
#include "WebService/Storage/Cloud.h"
#include "WebService/Storage/IncomingFile.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace webservice {

/// Puts contents and folders into the outboxes of computers, and removes them from there. An error of the file system
/// is logged: what is in the way in one outbox is no obstacle to the operation, nor to the other computers.
class Delivery {
public:
    Delivery(Database& db, const Cloud& cloud, const OutboxTree& outbox, IncomingFolder& incoming)
        : db_(db), cloud_(cloud), outbox_(outbox), incoming_(incoming) {}

    /// Puts a content of the cloud into the computer's outbox, where it has a name.
    void deliver(std::int64_t computer, const CloudFile& file, const std::optional<std::string>& name);

    /// A content has arrived in the cloud: delivers it to the user's other computers.
    Work<> distribute(Computer from, CloudFile file);

    void makeFolder(std::int64_t computer, std::string_view name);

    /// Removes the file or folder from the computer's outbox; see removeFromOutbox().
    Work<> remove(std::int64_t computer, std::string_view name);

private:
    void withdrawDeletion(std::int64_t computer, std::string_view name);

    Database& db_;
    const Cloud& cloud_;
    const OutboxTree& outbox_;
    IncomingFolder& incoming_;
};

} // namespace webservice
