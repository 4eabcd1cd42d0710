#include "Tools/Bundle/Redactor.h"

#include "Platform/Printable.h"
#include "Tools/Bundle/LogValues.h"
#include "Tools/PercentEncoding.h"
#include "Tools/Status/Advice.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>
#include <system_error>
#include <utility>

namespace Tools {

namespace {

constexpr std::size_t shortestInWords = 6;
/// Texts that precede the name of an item.
constexpr std::array<std::string_view, 3> frontsOfNames{"The item ", "/Quenmark/", "/QuenmarkTemp/"};
constexpr const char* nameLabel = "[name]";

bool isOfAWord(char character) {
    return std::isalnum(static_cast<unsigned char>(character)) != 0 || character == '_' ||
           static_cast<unsigned char>(character) >= 0x80;
}

bool isWordAt(std::string_view text, std::size_t at, std::size_t length) {
    const bool isBegun = at > 0 && isOfAWord(text[at - 1]);
    const bool goesOn = at + length < text.size() && isOfAWord(text[at + length]);
    return !isBegun && !goesOn;
}

/// Where a name in the form of the wire begins: with a backslash, at the beginning of a word.
std::size_t placeOfWireName(std::string_view text) {
    for (auto at = text.find('\\'); at != std::string_view::npos; at = text.find('\\', at + 1)) {
        if (at == 0 || std::string_view(" \t\n\"'(=:").find(text[at - 1]) != std::string_view::npos)
            return at;
    }
    return std::string_view::npos;
}

/// The error of a system call at the end of a text, with the colon in front; "" where there is none.
std::string errorAtTheEnd(std::string_view text) {
    constexpr int maxErrors = 133; // errno(3)
    const auto place = text.rfind(": ");
    if (place == std::string_view::npos)
        return "";
    for (int number = 1; number <= maxErrors; ++number) {
        if (text.substr(place + 2) == std::generic_category().message(number))
            return std::string(text.substr(place));
    }
    return "";
}

std::string withoutNames(std::string_view text) {
    std::size_t begin = placeOfWireName(text);
    for (const auto& front : frontsOfNames) {
        const auto place = text.find(front);
        if (place != std::string_view::npos)
            begin = std::min(begin, place + front.size());
    }
    if (begin >= text.size())
        return std::string(text);
    return std::string(text.substr(0, begin)) + nameLabel + errorAtTheEnd(text.substr(begin));
}

void replaceAll(std::string& text, const std::string& value, std::string_view replacement, bool onlyWords) {
    for (auto at = text.find(value); at != std::string::npos; at = text.find(value, at)) {
        if (onlyWords && !isWordAt(text, at, value.size())) {
            ++at;
            continue;
        }
        text.replace(at, value.size(), replacement);
        at += replacement.size();
    }
}

} // namespace

void Redactor::addSecret(std::string_view value, const std::string& label) {
    if (value.empty())
        return;
    const auto quoted = boost::json::serialize(boost::json::string(value));
    addForm(std::string(value), label);
    addForm(quoted.substr(1, quoted.size() - 2), label);
    addForm(percentEncoded(value), label);
    addForm(Platform::printable(value), label);
    if (home_.size() > 1 && value.starts_with(home_ + "/"))
        addForm("~" + std::string(value.substr(home_.size())), label);
    // What is shown of a long one.
    addForm(shown(value), label);
    std::ranges::stable_sort(secrets_, std::ranges::greater(),
                             [](const Secret& secret) { return secret.value.size(); });
}

void Redactor::addForm(std::string value, const std::string& label) {
    if (std::ranges::find(secrets_, value, &Secret::value) == secrets_.end())
        secrets_.push_back({std::move(value), "[" + label + "]"});
}

std::string Redactor::withoutSecrets(std::string text) const {
    for (const auto& secret : secrets_)
        replaceAll(text, secret.value, secret.label, secret.value.size() < shortestInWords);
    return text;
}

std::string Redactor::redacted(std::string_view text) const {
    std::string result = withoutValues(text);
    // The name of the user is a part of it.
    if (home_.size() > 1)
        replaceAll(result, home_, "~", true);
    return withoutMailAddresses(withoutCredentials(withoutNames(withoutSecrets(std::move(result)))));
}

boost::json::value Redactor::withRedactedStrings(const boost::json::value& value) const {
    if (const auto* string = value.if_string())
        return boost::json::value(redacted(*string));
    if (const auto* array = value.if_array()) {
        boost::json::array result;
        for (const auto& member : *array)
            result.push_back(withRedactedStrings(member));
        return result;
    }
    if (const auto* object = value.if_object()) {
        boost::json::object result;
        for (const auto& [key, member] : *object)
            result.emplace(key, withRedactedStrings(member));
        return result;
    }
    return value;
}

} // namespace Tools
