// How the engine puts an item into its place, and makes that durable before the item is acknowledged.

#include "Platform/Files/Files.h"
#include "Platform/Files/Flush.h"
#include "Platform/Log.h"
#include "Platform/Printable.h"
#include "Platform/Text.h"
#include "TopFileUploadXpcService/LocalPaths.h"
#include "TopFileUploadXpcService/TopFileUploadXpcService.h"

#include <utility>
#include <vector>

namespace Quenmark {

namespace Files = Platform::Files;
namespace Flush = Platform::Flush;
namespace Log = Platform::Log;
using Platform::text;

void TopFileUploadXpcService::createFolderItem() {
    const std::string path = finalPath();
    std::vector<std::string> made;
    if (!Files::exists(path))
        Files::createDirectory(path, &made);
    unflushedFolders_.insert(made.begin(), made.end());
    if (Files::exists(path))
        unflushedFolders_.insert(path);
}

Platform::Flusher::Work TopFileUploadXpcService::flushOfFolders(const ItemFetch& fetch) {
    if (!Files::isDirectory(finalPath()))
        fetch.attempt->setPlacementError("not placed");
    return [paths = std::exchange(unflushedFolders_, {})] {
        return Flush::entries(std::vector<std::string>(paths.begin(), paths.end()));
    };
}

void TopFileUploadXpcService::placeFolder(const ItemFetch& fetch) {
    if (auto work = policy_->folderPlacement(fetch.paths))
        return acknowledgeWhenDurable(std::move(work), fetch);
    createFolderItem();
    whenDurable(flushOfFolders(fetch), fetch, [this, query = item_.acknowledgement(), fetch] {
        acknowledge(query, fetch);
        openGate();
    });
}

void TopFileUploadXpcService::acknowledgeWhenDurable(Platform::Flusher::Work work, const ItemFetch& fetch) {
    whenDurable(std::move(work), fetch, [this, query = item_.acknowledgement(), fetch] {
        try {
            acknowledge(query, fetch);
        } catch (...) {
            reportException();
        }
    });
}

void TopFileUploadXpcService::whenDurable(Platform::Flusher::Work work, const ItemFetch& fetch,
                                          std::function<void()> next) {
    observer_->flushing(numberOf(fetch));
    Platform::Flusher::perform(std::move(work), [self = shared_from_this(), fetch,
                                                 name = Platform::printable(text(item_.fileName)),
                                                 next = std::move(next)](const std::optional<Platform::Error>& error) {
        if (Flush::hasFailed(error)) {
            Log::write("The item " + name + " cannot be made durable, and is fetched again: " + text(error),
                       Log::Priority::Error);
            self->policy_->forget(fetch.paths);
            return fetch.attempt->end({AttemptEnd::Kind::NotDurable});
        }
        const auto end = error ? self->policy_->placementFailed(*error, fetch.paths) : std::nullopt;
        if (error && !end)
            fetch.attempt->setPlacementError(LocalPaths::temporaryArea().size(fetch.paths.temporary) ? "move failed"
                                                                                                     : "no bytes");
        if (!end)
            return next();
        Log::write("The item " + name + " cannot be placed: " + text(error), Log::Priority::Error);
        fetch.attempt->end(*end);
    });
}

} // namespace Quenmark
