#pragma once

#include "WebService/Common/Work.h"
#include "WebService/Outbox/OutboxTree.h"
#include "WebService/Storage/IncomingFile.h"

#include <filesystem>
#include <string>
#include <vector>

namespace webservice {

/// Removes the file or folder from the outbox; does nothing when it does not exist. It leaves the outbox at once, as a
/// whole; a folder's contents are then removed one by one. `relative` is a path in the outbox, "COMPUTER/Docs". An
/// error is logged; what is left over is removed at the next start.
Work<> removeFromOutbox(const OutboxTree& outbox, IncomingFolder& incoming, std::string relative);

/// Removes files and folders that are out of the outbox already, in the same way. `shown` names them in the log.
Work<> removeAside(std::vector<std::filesystem::path> aside, IncomingFolder& incoming, std::string shown);

/// Removes everything that the outbox has, and the files and folders that are `aside` already, in the same way.
Work<> emptyOutbox(const OutboxTree& outbox, IncomingFolder& incoming, std::vector<std::filesystem::path> aside);

} // namespace webservice
