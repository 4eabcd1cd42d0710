#pragma once

#include "WebService/Common/Work.h"
#include "WebService/Outbox/OutboxTree.h"
#include "WebService/Storage/IncomingFile.h"

#include <string>

namespace webservice {

/// Removes the file or folder from the outbox; nothing when there is none. It leaves the outbox at once, as a whole; a
/// folder's contents are then removed one by one. `relative` is a path in the outbox, "COMPUTER/Docs". What hinders the
/// removal is logged; what is left over then goes at the next start.
Work<> removeFromOutbox(const OutboxTree& outbox, IncomingFolder& incoming, std::string relative);

} // namespace webservice
