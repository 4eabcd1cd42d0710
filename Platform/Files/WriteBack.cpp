#include "Platform/Files/WriteBack.h"

#include "Platform/Files/Flush.h"
#include "Platform/Files/Flusher.h"

namespace Platform {

void WriteBack::wrote(const OutputStream& stream, std::uint64_t bytes) {
    waiting_ += bytes;
    if (waiting_ < step || *isRunning_)
        return;
    waiting_ = 0;
    const auto file = std::make_shared<const FileDescriptor>(stream.duplicate());
    *isRunning_ = true;
    Flusher::perform(
        [file] {
            Flush::startWriteBack(file->get());
            return std::nullopt;
        },
        [isRunning = isRunning_](const auto&) { *isRunning = false; });
}

} // namespace Platform
