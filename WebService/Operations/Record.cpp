#include "WebService/Operations/Record.h"

#include <algorithm>
#include <cctype>
#include <charconv>

namespace webservice {

namespace {

constexpr std::size_t maxTextLength = 65536;

} // namespace

Record::Record(const boost::json::value& value) : fields_(value.if_object()) {
    if (fields_ == nullptr)
        throw RequestError("NotAnObject", "the body is not a JSON object", 400);
}

std::optional<std::string> Record::optional(std::string_view key) const {
    const boost::json::value* value = fields_->if_contains(key);
    if (value == nullptr || value->is_null())
        return std::nullopt;
    if (value->is_string()) {
        const boost::json::string& text = value->get_string();
        if (text.size() > maxTextLength)
            throw tooLong("\"" + std::string(key) + "\" is longer than 64 KiB");
        return std::string(text);
    }
    if (value->is_int64() || value->is_uint64())
        return boost::json::serialize(*value);
    throw RequestError("WrongType", "\"" + std::string(key) + "\" is not a text");
}

std::string_view Record::longText(std::string_view key) const {
    const boost::json::value* value = fields_->if_contains(key);
    if (value == nullptr || value->is_null())
        return {};
    if (!value->is_string())
        throw RequestError("WrongType", "\"" + std::string(key) + "\" is not a text");
    return value->get_string();
}

std::string Record::text(std::string_view key) const {
    const auto value = optional(key);
    if (!value || value->empty())
        throw RequestError("MissingKey", "\"" + std::string(key) + "\" is missing");
    return *value;
}

std::int64_t Record::id(std::string_view key) const {
    return decimal(text(key)).value_or(-1);
}

bool Record::isTrue(std::string_view key) const {
    std::string value = optional(key).value_or("");
    std::transform(value.begin(), value.end(), value.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    return value == "true" || value == "1";
}

std::optional<std::int64_t> decimal(std::string_view text) {
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (text.starts_with('-') || error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return number;
}

std::string_view flag(bool value) {
    return value ? "True" : "False";
}

boost::json::value orNull(const std::optional<std::string>& text) {
    return text ? boost::json::value(boost::json::string(*text)) : boost::json::value(nullptr);
}

boost::json::object success() {
    return {{"ReturnStatus", "0"}};
}

boost::json::object done() {
    return {{"ReturnStatus", "0"}, {"error", nullptr}};
}

boost::json::object nothing() {
    return {{"ReturnStatus", "1"}, {"error", nullptr}};
}

boost::json::object failed(const RequestError& error) {
    return {{"ReturnStatus", "1"}, {"error", boost::json::object{{"code", error.code()}, {"message", error.what()}}}};
}

} // namespace webservice
