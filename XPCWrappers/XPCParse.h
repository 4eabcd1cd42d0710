#pragma once

#include "Platform/Ipc/Value.h"
#include "XPCWrappers/Object.h"

#include <optional>
#include <string>

/// Converts message values (`Platform::Ipc::Value`) to value objects and back. A value without a counterpart is no
/// error: it becomes nil and is omitted from its container. `XPCUUID` converts itself.
namespace Quenmark::XPCParse {

using Platform::Ipc::Value;

/// The object of a value of any kind. Nil for null and for shared memory, and for a descriptor that cannot be
/// duplicated.
std::optional<XPC::Object> objectWithXPCObject(const Value& object);
/// The value of an object of any class; nil for `XPC::Null`, and for a handle whose file is not open.
std::optional<Value> newXPCObject(const XPC::Object& object);

/// Entries whose value is nil are left out. Throws std::bad_variant_access for a value that is no dictionary.
XPC::Dictionary dictionaryWithContentsOfXPCObject(const Value& object);
/// Entries whose object has no value are left out. A key travels up to its first zero byte; of two keys that become the
/// same, the last counts.
Value newXPCObject(const XPC::Dictionary& dictionary);

/// Elements that are nil are left out; the others keep their order. Throws std::bad_variant_access for a value that is
/// no array.
XPC::Array arrayWithContentsOfXPCObject(const Value& object);
/// Elements that have no value are left out.
Value newXPCObject(const XPC::Array& array);

/// Throws std::bad_variant_access for a value that is no string.
std::string stringWithXPCObject(const Value& object);
/// The text up to its first zero byte, where a text of a message ends.
std::string textThatTravels(const std::string& string);
Value newXPCObject(const std::string& string);

/// A boolean, an unsigned or a signed 64-bit integer, or a double, as the value is; nil for any other kind.
std::optional<XPC::Number> numberWithXPCObject(const Value& object);
/// True as a boolean, numbers of type "Q" and "q" as the integers that they are, every other number as a double: that
/// is so for false, which becomes 0.0, and for integers of fewer than 64 bits. Receivers count on it.
Value newXPCObject(const XPC::Number& number);

/// Nanoseconds become seconds, as precise as a double can be. Throws std::bad_variant_access for a value that is no
/// date.
XPC::Date dateWithXPCObject(const Value& object);
/// Whole nanoseconds; what is smaller is dropped. A moment that is too far away becomes the last one that travels.
Value newXPCObject(XPC::Date date);

/// Nil for every kind but data, shared memory included.
std::optional<XPC::Data> dataWithXPCObject(const Value& object);
Value newXPCObject(const XPC::Data& data);

/// A handle on a duplicate of the value's descriptor; nil for every other kind and where it cannot be duplicated.
std::optional<XPC::FileHandle> fileHandleWithXPCObject(const Value& object);
/// A duplicate of the handle's descriptor; nil where it cannot be duplicated.
std::optional<Value> newXPCObject(const XPC::FileHandle& handle);

} // namespace Quenmark::XPCParse
