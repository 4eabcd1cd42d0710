// How the engine puts an item into its place, and makes that durable before the item is acknowledged.

#include "Platform/Files/Files.h"
#include "Platform/Files/Flush.h"
#include "Platform/Log.h"
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

Platform::Flusher::Work TopFileUploadXpcService::flushOfFolders() {
    return [paths = std::exchange(unflushedFolders_, {})] {
        return Flush::entries(std::vector<std::string>(paths.begin(), paths.end()));
    };
}

Platform::Flusher::Work TopFileUploadXpcService::placement() const {
    return [area = LocalPaths::temporaryArea(), from = text(tempFilePath_), to = text(filePath_)] {
        return area.placeItem(from, to);
    };
}

void TopFileUploadXpcService::whenDurable(Platform::Flusher::Work work, std::function<void()> next) {
    Platform::Flusher::perform(std::move(work), [self = shared_from_this(), name = text(item_.fileName),
                                                 next = std::move(next)](const std::optional<Platform::Error>& error) {
        // An item that could not be moved is acknowledged all the same, which is required.
        if (!Flush::hasFailed(error))
            return next();
        Log::write("The item " + name + " cannot be made durable, and is fetched again: " + text(error),
                   Log::Priority::Error);
        self->openGate();
    });
}

} // namespace Quenmark
