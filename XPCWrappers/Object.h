#pragma once

#include "Platform/Ipc/Descriptor.h"
#include "XPCWrappers/Number.h"
#include "XPCWrappers/XPCUUID.h"

#include <concepts>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

/// The value objects that programs work with on this side of a connection; `XPCParse` turns them into what travels
/// and back.
namespace Quenmark::XPC {

class Object;
struct Entry;

/// Stands in a container for the absence of a value. Nothing that travels corresponds to it.
struct Null {
    bool operator==(const Null&) const = default;
};

/// A moment, in seconds since 1970-01-01 UTC.
struct Date {
    double secondsSince1970 = 0;
    bool operator==(const Date&) const = default;
};

/// An open file, closed with the last copy of the handle.
class FileHandle {
public:
    explicit FileHandle(Platform::Ipc::Descriptor descriptor) : descriptor_(std::move(descriptor)) {}
    int fileDescriptor() const { return descriptor_.number(); }
    bool operator==(const FileHandle&) const = default;

private:
    Platform::Ipc::Descriptor descriptor_;
};

using Data = std::vector<std::uint8_t>;
using Array = std::vector<Object>;

/// Objects by key. Each key is there once; keys keep the order in which they first came.
class Dictionary {
public:
    Dictionary();
    Dictionary(std::initializer_list<Entry> entries);
    Dictionary(const Dictionary&);
    Dictionary(Dictionary&&) noexcept;
    Dictionary& operator=(const Dictionary&);
    Dictionary& operator=(Dictionary&&) noexcept;
    ~Dictionary();
    /// From entries of which no two have the same key.
    static Dictionary withUniqueEntries(std::vector<Entry> entries);

    /// The object of that key, or nullptr. Looks at one entry after the other.
    const Object* objectForKey(std::string_view key) const;
    void setObjectForKey(Object object, std::string key);
    const std::vector<Entry>& entries() const { return entries_; }

    bool operator==(const Dictionary& other) const;

private:
    std::vector<Entry> entries_;
};

/// One value object.
class Object {
public:
    using Storage = std::variant<Null, Dictionary, Array, std::string, Number, Date, Data, FileHandle, XPCUUID>;

    template <class Kind>
    requires(!std::same_as<std::remove_cvref_t<Kind>, Object> && std::constructible_from<Storage, Kind>)
        Object(Kind&& kind) // NOLINT(bugprone-forwarding-reference-overload): the requirement leaves copies alone
        : storage_(std::forward<Kind>(kind)) {}

    /// The object as that class where it is of it, else nullptr.
    template <class Kind>
    const Kind* as() const {
        return std::get_if<Kind>(&storage_);
    }
    const Storage& storage() const { return storage_; }

    bool operator==(const Object& other) const { return storage_ == other.storage_; }

private:
    Storage storage_;
};

struct Entry {
    std::string key;
    Object object;
    bool operator==(const Entry&) const = default;
};

/// The text of an object in the log: nil is "(null)", a string is as it is, a number in decimal; containers take
/// several lines.
std::string text(const Object& object);
std::string text(const std::optional<Object>& object);

} // namespace Quenmark::XPC
