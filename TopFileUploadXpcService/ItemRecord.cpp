#include "TopFileUploadXpcService/ItemRecord.h"

#include "Platform/Files/FileState.h"
#include "Platform/Files/OutputStream.h"
#include "Platform/Json.h"
#include "TopFileUploadXpcService/LocalPaths.h"
#include "TopFileUploadXpcService/StaleFiles.h"

#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

#include <cerrno>
#include <string_view>
#include <utility>
#include <variant>

namespace Quenmark {

using Platform::Error;
using Platform::FileState;
using Step = EnginePolicy::FetchPlan::Step;

namespace {

/// A record has two lines, or a few more where the service was killed meanwhile.
constexpr std::size_t longestRecord = 64 << 10;

/// Whether a file that could not be read may be read later. A disk error may stay for ever.
bool mayPass(int number) {
    return number == EMFILE || number == ENFILE || number == ENOMEM;
}

std::optional<std::uint64_t> numberAt(const boost::json::object& object, std::string_view key) {
    const auto* value = object.if_contains(key);
    if (value == nullptr || !value->is_number())
        return std::nullopt;
    boost::system::error_code error;
    const auto number = value->to_number<std::uint64_t>(error);
    return error ? std::nullopt : std::optional(number);
}

} // namespace

/// A line of the record; the last one counts.
struct ItemRecord::Entry {
    std::string fileUploadID;
    FileState file;
    std::optional<std::uint64_t> total;
    bool isComplete = false;

    static std::optional<Entry> fromLine(std::string_view line) {
        const auto parsed = Platform::Json::parse(line);
        const auto* value = std::get_if<boost::json::value>(&parsed);
        const auto* object = value != nullptr ? value->if_object() : nullptr;
        const auto* identifier = object != nullptr ? object->if_contains("FileUploadID") : nullptr;
        if (identifier == nullptr || !identifier->is_string())
            return std::nullopt;
        const auto number = [&](std::string_view key) { return numberAt(*object, key).value_or(0); };
        return Entry{.fileUploadID = std::string(identifier->get_string()),
                     .file = {.device = number("Device"),
                              .inode = number("Inode"),
                              .size = number("Size"),
                              .modified = static_cast<std::int64_t>(number("Modified"))},
                     .total = numberAt(*object, "Total"),
                     .isComplete = object->contains("Size")};
    }

    std::string line() const {
        boost::json::object object{{"FileUploadID", fileUploadID}, {"Device", file.device}, {"Inode", file.inode}};
        if (total)
            object["Total"] = *total;
        if (isComplete) {
            object["Size"] = file.size;
            object["Modified"] = static_cast<std::uint64_t>(file.modified);
        }
        return boost::json::serialize(object) + "\n";
    }
};

ItemRecord::ItemRecord(ItemPaths paths, std::optional<std::string> fileUploadID)
    : paths_(std::move(paths)), fileUploadID_(std::move(fileUploadID)),
      recordPath_(LocalPaths::recordFile(paths_.temporary)) {}

std::variant<EnginePolicy::FetchPlan, Error> ItemRecord::inspect() const {
    const auto content = LocalPaths::temporaryArea().contents(recordPath_, longestRecord);
    if (const auto* error = std::get_if<Error>(&content); error != nullptr && mayPass(error->code))
        return *error;
    const auto* text = std::get_if<std::string>(&content);
    const auto entry = text != nullptr ? entryIn(*text) : std::nullopt;
    const auto file = LocalPaths::temporaryArea().stateOf(paths_.temporary);
    const bool isTooLong = entry && file && entry->total && file->size > *entry->total;
    if (entry && file && file->isSameFileAs(entry->file) && !isTooLong) {
        const bool isWhole = entry->isComplete && file->hasSameContentAs(entry->file);
        return EnginePolicy::FetchPlan{.step = isWhole ? Step::Place : Step::Download, .offset = file->size};
    }
    if (entry && entry->isComplete && !file) {
        const auto placed = FileState::at(paths_.final);
        if (placed && placed->hasSameContentAs(entry->file))
            return EnginePolicy::FetchPlan{.step = Step::Acknowledge, .offset = placed->size};
    }
    forget();
    return EnginePolicy::FetchPlan{};
}

bool ItemRecord::continuesAt(std::uint64_t offset) const {
    const auto found = inspect();
    const auto* plan = std::get_if<EnginePolicy::FetchPlan>(&found);
    return plan != nullptr && plan->step == Step::Download && plan->offset == offset;
}

bool ItemRecord::fits(std::optional<std::uint64_t> total) const {
    const auto entry = read();
    return !total || !entry || !entry->total || *entry->total == *total;
}

std::optional<Error> ItemRecord::begin(std::optional<std::uint64_t> total) const {
    const auto area = LocalPaths::temporaryArea();
    if (read() && area.stateOf(paths_.temporary))
        return std::nullopt;
    auto error = makeTemporaryFile();
    if (error && (error->code == ENOTDIR || error->code == EISDIR)) {
        StaleFiles::removeConflicting(paths_.temporary);
        error = makeTemporaryFile();
    }
    if (error)
        return error;
    return write({.fileUploadID = fileUploadID_.value_or(""),
                  .file = area.stateOf(paths_.temporary).value_or(FileState{}),
                  .total = total});
}

std::optional<Error> ItemRecord::makeTemporaryFile() const {
    const auto area = LocalPaths::temporaryArea();
    if (auto error = area.makeFolderOf(paths_.temporary))
        return error;
    const auto made = area.openToAppend(paths_.temporary);
    const auto* error = std::get_if<Error>(&made);
    return error != nullptr ? std::optional(*error) : std::nullopt;
}

bool ItemRecord::isComplete() const {
    const auto entry = read();
    const auto file = LocalPaths::temporaryArea().stateOf(paths_.temporary);
    return entry && file && (!entry->total || *entry->total == file->size);
}

std::optional<Error> ItemRecord::complete() const {
    auto entry = read();
    const auto file = LocalPaths::temporaryArea().stateOf(paths_.temporary);
    if (!entry || !file)
        return std::nullopt;
    entry->file = *file;
    entry->isComplete = true;
    return write(*entry);
}

void ItemRecord::forget() const {
    LocalPaths::temporaryArea().remove(recordPath_);
    LocalPaths::temporaryArea().remove(paths_.temporary);
}

std::optional<ItemRecord::Entry> ItemRecord::read() const {
    const auto content = LocalPaths::temporaryArea().contents(recordPath_, longestRecord);
    const auto* text = std::get_if<std::string>(&content);
    return text != nullptr ? entryIn(*text) : std::nullopt;
}

std::optional<ItemRecord::Entry> ItemRecord::entryIn(const std::string& text) const {
    if (!fileUploadID_)
        return std::nullopt;
    // What follows the last line feed was cut short.
    const std::size_t end = text.rfind('\n');
    if (end == std::string::npos)
        return std::nullopt;
    const std::size_t before = end == 0 ? std::string::npos : text.rfind('\n', end - 1);
    const std::size_t begin = before == std::string::npos ? 0 : before + 1;
    auto entry = Entry::fromLine(std::string_view(text).substr(begin, end - begin));
    return entry && entry->fileUploadID == *fileUploadID_ ? std::move(entry) : std::nullopt;
}

std::optional<Error> ItemRecord::write(const Entry& entry) const {
    const auto area = LocalPaths::temporaryArea();
    if (auto error = area.makeFolderOf(recordPath_))
        return error;
    Platform::OutputStream stream(recordPath_, [area](const std::string& path) { return area.openToAppend(path); });
    stream.open();
    const std::string line = entry.line();
    if (stream.write(line) == static_cast<std::int64_t>(line.size()))
        return std::nullopt;
    return stream.streamError().value_or(Error{"POSIX", ENOSPC, recordPath_ + ": written in part"});
}

} // namespace Quenmark
