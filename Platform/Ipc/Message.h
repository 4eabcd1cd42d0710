#pragma once

#include "Platform/Ipc/PropertyObject.h"
#include "Platform/Ipc/Value.h"

#include <boost/system/result.hpp>

#include <string>
#include <variant>

struct sd_bus_message;

/// How values travel in a bus message (D-Bus Specification, "Type System"). Kinds that the bus has are themselves:
/// boolean b, integers x and t, double d, string s, data ay, descriptor h, array av, dictionary a{sv}. The four that it
/// does not have are the structure (sv) of a name and a content: ("date", x nanoseconds), ("uuid", ay 16 bytes),
/// ("null", y 0), ("shmem", (ht) descriptor and length).
///
/// A message that another program wrote may say the same in other types, which are read as what they mean: a signed
/// integer of any width as x, an unsigned one as t, an object path or a signature as a string, an array of any type
/// as an array, a dictionary of any value type with names s, o or g as a dictionary, a variant as what is in it.
namespace Platform::Ipc {

/// No message holds more values than this, names of dictionary entries not counted: each takes far more memory here
/// than the few bytes in which it may travel.
inline constexpr std::size_t maximumValues = 1 << 20;
/// How deep containers may nest, variants included; the limit of the bus (D-Bus Specification, "Valid Signatures" and
/// "Message Protocol").
inline constexpr int maximumDepth = 64;
/// How many descriptors a message that is sent may carry; what the bus lets through unless it is set up otherwise
/// (dbus-daemon(1), max_message_unix_fds).
inline constexpr std::size_t maximumDescriptorsSent = 16;
/// How many descriptors are read from one message: as many as the system passes in one (unix(7), SCM_RIGHTS).
inline constexpr std::size_t maximumDescriptorsRead = 253;
/// How many bytes an array's elements, or a dictionary's entries, may take (D-Bus Specification, "Marshaling").
inline constexpr std::size_t maximumArraySize = std::size_t{64} << 20;
/// How many bytes a message may have, its header included (D-Bus Specification, "Message Protocol").
inline constexpr std::size_t maximumMessageSize = std::size_t{128} << 20;

/// Why a value could not be read from a message, or written to one: the error's name on the bus, and its text.
struct MessageFailure {
    const char* errorName;
    std::string text;
};

/// Takes the next complete value from the message. Descriptors are duplicated: the message keeps and closes its own.
std::variant<Value, MessageFailure> readValue(sd_bus_message& message);

/// True where a value could be written.
using WriteResult = boost::system::result<void, MessageFailure>;

/// Appends the value as a variant. After a failure the message is of no use.
[[nodiscard]] WriteResult appendVariant(sd_bus_message& message, const Value& value);

/// Appends the value of a property, as the type that it has there. After a failure the message is of no use.
[[nodiscard]] WriteResult appendProperty(sd_bus_message& message, const PropertyValue& value);

} // namespace Platform::Ipc
