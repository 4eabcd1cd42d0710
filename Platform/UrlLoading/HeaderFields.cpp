#include "Platform/UrlLoading/HeaderFields.h"

#include "Platform/Ascii.h"
#include "Platform/Text.h"

#include <boost/json/object.hpp>

#include <algorithm>

namespace Platform {

namespace {

template <class Fields>
auto find(Fields& fields, std::string_view name) {
    return std::find_if(fields.begin(), fields.end(),
                        [name](const HeaderFields::Field& field) { return sameFieldName(field.first, name); });
}

} // namespace

bool sameFieldName(std::string_view one, std::string_view other) {
    return std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [](char left, char right) { return lowerCase(left) == lowerCase(right); });
}

void HeaderFields::set(std::string_view name, std::string_view value) {
    const auto found = find(fields_, name);
    if (found == fields_.end())
        append(name, value);
    else
        *found = Field(name, value);
}

std::string& HeaderFields::add(std::string_view name, std::string_view value) {
    const auto found = find(fields_, name);
    return found == fields_.end() ? append(name, value) : (found->second += ", ") += value;
}

std::string& HeaderFields::append(std::string_view name, std::string_view value) {
    constexpr std::size_t usual = 8;
    if (fields_.empty())
        fields_.reserve(usual);
    return fields_.emplace_back(name, value).second;
}

void HeaderFields::remove(std::string_view name) {
    std::erase_if(fields_, [name](const Field& field) { return sameFieldName(field.first, name); });
}

std::optional<std::string> HeaderFields::valueForExactName(std::string_view name) const {
    const auto found = find(fields_, name);
    return found != fields_.end() && found->first == name ? std::optional(found->second) : std::nullopt;
}

std::optional<std::string> HeaderFields::value(std::string_view name) const {
    const auto found = find(fields_, name);
    return found != fields_.end() ? std::optional(found->second) : std::nullopt;
}

bool HeaderFields::has(std::string_view name) const {
    return find(fields_, name) != fields_.end();
}

std::string_view trimmed(std::string_view value) {
    const auto first = value.find_first_not_of(optionalWhitespace);
    return first == std::string_view::npos
               ? std::string_view()
               : value.substr(first, value.find_last_not_of(optionalWhitespace) - first + 1);
}

std::string text(const HeaderFields& fields) {
    boost::json::object dictionary;
    for (const auto& [name, value] : fields)
        dictionary[name] = value;
    return text(dictionary);
}

} // namespace Platform
