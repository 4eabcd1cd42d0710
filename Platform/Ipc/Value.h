#pragma once

#include "Platform/Ipc/Descriptor.h"

#include <array>
#include <concepts>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

/// Messages between processes: the values that they carry, the services that receive them and the callers.
namespace Platform::Ipc {

class Value;
struct DictionaryEntry;

struct Null {
    bool operator==(const Null&) const = default;
};

/// A moment, in nanoseconds since 1970-01-01 UTC.
struct Date {
    std::int64_t nanoseconds = 0;
    bool operator==(const Date&) const = default;
};

struct Uuid {
    std::array<std::uint8_t, 16> bytes{};
    bool operator==(const Uuid&) const = default;
};

/// Memory that two processes map (mmap(2), MAP_SHARED): the descriptor to map, and how many bytes of it.
struct SharedMemory {
    Descriptor descriptor;
    std::uint64_t length = 0;
    bool operator==(const SharedMemory&) const = default;
};

using Data = std::vector<std::uint8_t>;
using Array = std::vector<Value>;

/// Values by name. Each name is there once; entries keep the order in which their names first came.
class Dictionary {
public:
    Dictionary();
    /// Where a name comes more than once, its last value counts.
    explicit Dictionary(std::vector<DictionaryEntry> entries);
    Dictionary(std::initializer_list<DictionaryEntry> entries);
    Dictionary(const Dictionary&);
    Dictionary(Dictionary&&) noexcept;
    Dictionary& operator=(const Dictionary&);
    Dictionary& operator=(Dictionary&&) noexcept;
    ~Dictionary();

    /// The value of that name, or nullptr. Looks at one entry after the other.
    const Value* find(std::string_view name) const;
    /// Puts the value in the place of the one of that name, or behind all others.
    void set(std::string name, Value value);

    const std::vector<DictionaryEntry>& entries() const& { return entries_; }
    std::vector<DictionaryEntry>&& entries() && { return std::move(entries_); }

    bool operator==(const Dictionary& other) const;

private:
    std::vector<DictionaryEntry> entries_;
};

/// One value of any kind that a message can carry. A default value is null. Copies are independent of each other, but
/// that copies of a descriptor share it.
class Value {
public:
    using Storage = std::variant<Null, bool, std::int64_t, std::uint64_t, double, Date, Data, std::string, Uuid,
                                 Descriptor, SharedMemory, Array, Dictionary>;

    Value() = default;
    // The requirement leaves copies and moves to their own constructors.
    template <class Kind>
    requires(!std::same_as<std::remove_cvref_t<Kind>, Value> && std::constructible_from<Storage, Kind>)
        Value(Kind&& kind) // NOLINT(bugprone-forwarding-reference-overload)
        : storage_(std::forward<Kind>(kind)) {}

    /// The content where the value is of that kind, else nullptr.
    template <class Kind>
    const Kind* as() const {
        return std::get_if<Kind>(&storage_);
    }
    template <class Kind>
    Kind* as() {
        return std::get_if<Kind>(&storage_);
    }

    const Storage& storage() const& { return storage_; }
    Storage&& storage() && { return std::move(storage_); }

    bool operator==(const Value& other) const { return storage_ == other.storage_; }

private:
    Storage storage_;
};

struct DictionaryEntry {
    std::string name;
    Value value;
    bool operator==(const DictionaryEntry&) const = default;
};

} // namespace Platform::Ipc
