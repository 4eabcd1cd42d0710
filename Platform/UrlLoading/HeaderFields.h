#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Platform {

/// The header fields of a request or a response (RFC 9110, section 5), in order. Names keep the case they were received
/// in.
class HeaderFields {
public:
    /// A name and its value.
    using Field = std::pair<std::string, std::string>;

    /// Replaces the field of that name (in any case of letters), or adds it.
    void set(std::string_view name, std::string_view value);
    /// Adds to the field of that name with ", " between the values (RFC 9110, section 5.3), or adds the field. Returns
    /// its value, which is valid until another field is added.
    std::string& add(std::string_view name, std::string_view value);
    /// Removes the field of that name (in any case of letters), where there is one.
    void remove(std::string_view name);
    /// The value of the field with exactly that name, letter case included; nil when there is none.
    std::optional<std::string> valueForExactName(std::string_view name) const;
    /// The value of the field of that name in any case of letters (as field names are compared on the wire).
    std::optional<std::string> value(std::string_view name) const;
    /// Whether there is a field of that name in any case of letters.
    bool has(std::string_view name) const;

    /// The first field; fields are in the order in which they were added.
    auto begin() const { return fields_.begin(); }
    /// Behind the last field.
    auto end() const { return fields_.end(); }
    /// The number of fields.
    std::size_t size() const { return fields_.size(); }

    bool operator==(const HeaderFields&) const = default;

private:
    std::string& append(std::string_view name, std::string_view value);

    std::vector<Field> fields_;
};

/// Whether two field names are the same on the wire, where the case of ASCII letters makes no difference.
bool sameFieldName(std::string_view one, std::string_view other);

/// Spaces and tabs, the optional whitespace of header fields (RFC 9110, section 5.6.3).
inline constexpr std::string_view optionalWhitespace = " \t";

/// The value without the whitespace around it.
std::string_view trimmed(std::string_view value);

/// The fields over several lines, as a dictionary of the log.
std::string text(const HeaderFields& fields);

} // namespace Platform
