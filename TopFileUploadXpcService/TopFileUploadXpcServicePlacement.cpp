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

Platform::Flusher::Work TopFileUploadXpcService::flushOfFolders(const Errand& errand) {
    if (!Files::isDirectory(finalPath()))
        errand.attempt->lose("not placed");
    return [paths = std::exchange(unflushedFolders_, {})] {
        return Flush::entries(std::vector<std::string>(paths.begin(), paths.end()));
    };
}

void TopFileUploadXpcService::placeFolder(const Errand& errand) {
    if (auto work = policy_->folderPlacement(errand.paths))
        return acknowledgeWhenDurable(std::move(work), errand);
    createFolderItem();
    whenDurable(flushOfFolders(errand), errand, [this, query = item_.acknowledgement(), errand] {
        acknowledge(query, errand);
        openGate();
    });
}

void TopFileUploadXpcService::acknowledgeWhenDurable(Platform::Flusher::Work work, const Errand& errand) {
    whenDurable(std::move(work), errand, [this, query = item_.acknowledgement(), errand] {
        try {
            acknowledge(query, errand);
        } catch (...) {
            reportException();
        }
    });
}

void TopFileUploadXpcService::whenDurable(Platform::Flusher::Work work, const Errand& errand,
                                          std::function<void()> next) {
    observer_->flushing(numberOf(errand));
    Platform::Flusher::perform(std::move(work), [self = shared_from_this(), errand,
                                                 name = Platform::printable(text(item_.fileName)),
                                                 next = std::move(next)](const std::optional<Platform::Error>& error) {
        if (Flush::hasFailed(error)) {
            Log::write("The item " + name + " cannot be made durable, and is fetched again: " + text(error),
                       Log::Priority::Error);
            self->policy_->forget(errand.paths);
            return errand.attempt->end({AttemptEnd::Kind::NotDurable});
        }
        const auto end = error ? self->policy_->placementFailed(*error, errand.paths) : std::nullopt;
        if (error && !end)
            errand.attempt->lose(LocalPaths::temporaryArea().size(errand.paths.temporary) ? "move failed" : "no bytes");
        if (!end)
            return next();
        Log::write("The item " + name + " cannot be placed: " + text(error), Log::Priority::Error);
        errand.attempt->end(*end);
    });
}

} // namespace Quenmark
