#pragma once

#include "WebService/Console/RequestJournal.h"

#include <optional>
#include <string>
#include <string_view>

namespace webservice {

/// The bytes as one word of a POSIX shell (XCU 2.2), also where they are not text. They have no NUL, and where they are
/// not text do not end in a line feed.
std::string shellWord(std::string_view bytes);

/// A curl(1) command that sends the request again to the service at the address, "http://127.0.0.1:8080": with the same
/// method, target, header fields and body. A body that was not kept as a whole is to be put into a file that the
/// command names. None for a request that has no method, or that was not kept.
std::optional<std::string> curlCommand(const JournalEntry& entry, std::string_view address);

} // namespace webservice
