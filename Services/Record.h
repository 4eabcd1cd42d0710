#pragma once

#include <boost/json/value.hpp>

#include <optional>
#include <string>
#include <string_view>
#include <tuple>

namespace Quenmark {

/// A field of a request: text in the form that the web service expects, or nil, which leaves its key out.
using RequestField = std::optional<std::string>;

/// A field of a response: the decoded value, unchanged, of whatever type; nil when the response has no such key. A
/// JSON null is a value.
using ResponseField = std::optional<boost::json::value>;

/// The key of a field that no response fills.
inline constexpr std::string_view notOnTheWire{};

/// One row of a record's table: the key on the wire, the property's name, and the property.
template <class Record, class Value>
struct Field {
    /// The key on the wire, or `notOnTheWire`.
    std::string_view key;
    /// The property's name.
    std::string_view property;
    /// The property.
    Value Record::*member;
};
template <class Record, class Value>
Field(std::string_view, std::string_view, Value Record::*) -> Field<Record, Value>;

/// Calls `function` with each row of the record's table, in wire order.
template <class Record, class Function>
constexpr void forEachField(Function&& function) {
    constexpr auto fields = Record::fields();
    std::apply([&](const auto&... field) { (function(field), ...); }, fields);
}

} // namespace Quenmark
