#pragma once

#include <string>
#include <string_view>

namespace webservice {

/// What a PUT to the outbox is to make.
struct PushTarget {
    std::string computer;
    /// In the computer's folder.
    std::string path;
    bool isFolder = false;
};

/// Parses "/outbox/COMPUTER/PATH", percent-encoded; a slash at its end means a folder. Throws RequestError where it
/// cannot be the path of an item.
PushTarget parsePushTarget(std::string_view encoded);

} // namespace webservice
