#pragma once

#include "WebService/Console/RequestJournal.h"

#include <optional>
#include <string>

namespace webservice {

/// A `quenmark call` command that makes the same request of an operation. None for another request, one that was not
/// kept as a whole, and one that the tool would make in another way: its fields have to be texts.
std::optional<std::string> callCommand(const JournalEntry& entry);

} // namespace webservice
