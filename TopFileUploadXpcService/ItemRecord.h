#pragma once

#include "Platform/Error.h"
#include "TopFileUploadXpcService/EnginePolicy.h"

#include <cstdint>
#include <optional>
#include <string>
#include <variant>

namespace Quenmark {

/// What managed mode knows of a temporary file: which item it was begun for, and whether it is complete. It is kept in
/// a small file of the temporary area, a line for each thing that became known, so that it survives the process. A
/// temporary file without a record, or that is another one than the record's, belongs to no item.
class ItemRecord {
public:
    /// The record of the temporary file of `paths`, for the item that has this identifier.
    ItemRecord(ItemPaths paths, std::optional<std::string> fileUploadID);

    /// Returns the next step for the item. Removes a temporary file that belongs to another item or to none, or is
    /// longer than the item. Returns an error if the record cannot be read now.
    std::variant<EnginePolicy::FetchPlan, Platform::Error> inspect() const;
    /// Whether the temporary file, still or again, has `offset` bytes of the item, and is not complete.
    bool continuesAt(std::uint64_t offset) const;
    /// The stream of the item begins; `total` is the size that the whole item will have, nil where it is not known.
    /// Makes the temporary file where there is none. The error is one of writing.
    std::optional<Platform::Error> begin(std::optional<std::uint64_t> total) const;
    /// Whether an item of that size is the one that was begun.
    bool fits(std::optional<std::uint64_t> total) const;
    /// Whether the temporary file has the size that the item should have.
    bool isComplete() const;
    /// Notes that the temporary file is complete.
    std::optional<Platform::Error> complete() const;
    /// Removes the temporary file and its record.
    void forget() const;

private:
    struct Entry;

    std::optional<Platform::Error> makeTemporaryFile() const;
    std::optional<Entry> read() const;
    std::optional<Entry> entryIn(const std::string& text) const;
    std::optional<Platform::Error> write(const Entry& entry) const;

    ItemPaths paths_;
    std::optional<std::string> fileUploadID_;
    std::string recordPath_;
};

} // namespace Quenmark
