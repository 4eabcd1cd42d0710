#include "WebService/Operations/Record.h"

#include <algorithm>
#include <cctype>
#include <charconv>

namespace webservice {

boost::json::value parseJson(std::string_view body) {
    boost::json::stream_parser parser;
    boost::json::error_code error;
    const std::size_t read = parser.write_some(body.data(), body.size(), error);
    if (!error) {
        parser.finish(error);
    }
    if (!error && body.find_first_not_of(" \t\r\n", read) != std::string_view::npos) {
        error = boost::json::error::extra_data;
    }
    if (error) {
        throw Refusal("NotJson", "the body is not JSON: " + error.message() + " at byte " + std::to_string(read));
    }
    return parser.release();
}

Record Record::parse(std::string_view body) {
    boost::json::value value = parseJson(body);
    if (!value.is_object()) {
        throw Refusal("NotAnObject", "the body is not a JSON object");
    }
    return Record(std::move(value.get_object()));
}

std::optional<std::string> Record::optional(std::string_view key) const {
    const boost::json::value* value = fields_.if_contains(key);
    if (value == nullptr || value->is_null()) {
        return std::nullopt;
    }
    if (value->is_string()) {
        return std::string(value->get_string());
    }
    if (value->is_int64() || value->is_uint64()) {
        return boost::json::serialize(*value);
    }
    throw Refusal("WrongType", "\"" + std::string(key) + "\" is not a text");
}

std::string Record::text(std::string_view key) const {
    const auto value = optional(key);
    if (!value || value->empty()) {
        throw Refusal("MissingKey", "\"" + std::string(key) + "\" is missing");
    }
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
    if (text.starts_with('-') || error != std::errc() || end != text.data() + text.size()) {
        return std::nullopt;
    }
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

boost::json::object refused(const Refusal& refusal) {
    return {{"ReturnStatus", "1"},
            {"error", boost::json::object{{"code", refusal.code()}, {"message", refusal.what()}}}};
}

} // namespace webservice
