#include "TopFileUploadXpcService/CompatiblePolicy.h"

#include "Platform/Loop/Queue.h"
#include "Platform/UrlLoading/UrlRequest.h"
#include "TopFileUploadXpcService/LocalPaths.h"
#include "TopFileUploadXpcService/Settings.h"

#include <utility>

namespace Quenmark {

using Kind = AttemptEnd::Kind;

void CompatiblePolicy::passEnded(std::function<void()> pass, bool) {
    Platform::Queue::global(Platform::Priority::Background).after(Settings::pollInterval, std::move(pass));
}

bool CompatiblePolicy::attemptEnded(const AttemptEnd& end, bool) {
    switch (end.kind) {
    case Kind::NoItem:
    case Kind::NoNetwork:
    case Kind::Acknowledged:
    case Kind::PollFailed:
    case Kind::NoStreamResponse:
    case Kind::NotWritten:
    case Kind::NotDurable:
        return true;
    case Kind::StreamFailed:
        return end.number == Platform::UrlError::NetworkConnectionLost ||
               end.number == Platform::UrlError::CannotConnectToHost;
    case Kind::Refused:
        return end.number == statusDrop;
    case Kind::NotConfigured:
    case Kind::BadResponse:
    case Kind::NotPlaced:
    case Kind::NotAcknowledged:
    case Kind::AcknowledgementRefused:
        break;
    }
    return false;
}

std::string CompatiblePolicy::nextStep(bool isStalled) const {
    return isStalled ? "nothing is asked for until GetTopFileUpload is called" : "the next pass asks again";
}

EnginePolicy::FetchPlan CompatiblePolicy::planFetch(const Item&, const ItemPaths& paths) {
    return {.offset = LocalPaths::temporaryArea().size(paths.temporary).value_or(0)};
}

Item CompatiblePolicy::itemOfStream(const Item&, const Platform::HttpUrlResponse& response) const {
    return Item::fromHeaderFields(response);
}

std::string_view CompatiblePolicy::nextBytes(std::string_view piece, std::size_t remaining) const {
    // Each write starts at the first byte of the piece, also after a short one; required so.
    return piece.substr(0, remaining);
}

Platform::Flusher::Work CompatiblePolicy::placement(const ItemPaths& paths) const {
    return [area = LocalPaths::temporaryArea(), from = paths.temporary, to = paths.final] {
        return area.placeItem(from, to);
    };
}

} // namespace Quenmark
