#include "WebService/PushTarget.h"

#include "WebService/Common/RequestError.h"
#include "WebService/Common/WireName.h"
#include "WebService/Http/Request.h"

namespace webservice {

PushTarget parsePushTarget(std::string_view encoded) {
    encoded.remove_prefix(outboxRoot.size());
    PushTarget target;
    target.isFolder = encoded.ends_with('/');
    if (target.isFolder)
        encoded.remove_suffix(1);
    while (true) {
        const std::string_view segment = encoded.substr(0, encoded.find('/'));
        const auto name = percentDecoded(segment);
        if (!name || !isExpressible(*name))
            throw RequestError("BadPath",
                               "a part of the path is empty, \".\", \"..\", not UTF-8, or has a slash, a "
                               "backslash or a control character",
                               400);
        if (target.computer.empty())
            target.computer = *name;
        else
            target.path.append(target.path.empty() ? "" : "/").append(*name);
        if (segment.size() == encoded.size())
            break;
        encoded.remove_prefix(segment.size() + 1);
    }
    if (target.path.empty())
        throw RequestError("BadPath", "the path is /outbox/COMPUTER/ and the item's path", 400);
    if (!wireName(target.path))
        throw RequestError("BadPath",
                           "the item's path is longer than " + std::to_string(maxPathLength) +
                               " bytes or has more than " + std::to_string(maxLevels) + " parts",
                           400);
    return target;
}

} // namespace webservice
