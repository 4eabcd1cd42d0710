#include "Platform/Text.h"

#include <boost/json.hpp>

#include <array>
#include <cctype>
#include <charconv>
#include <cstdint>
#include <limits>

namespace Platform {

namespace {

/// Longer texts end in "..."; no log entry has use for more, and a response may be of any size.
constexpr std::size_t maximumLength = 128 << 10;

/// With as many digits as always come back from a double, and an exponent only where the number calls for one.
std::string decimal(double number) {
    std::array<char, 32> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::general,
                                   std::numeric_limits<double>::max_digits10 - 1);
    return {text.data(), end.ptr};
}

class Writer {
public:
    void write(const boost::json::value& value) {
        if (full())
            return;
        switch (value.kind()) {
        case boost::json::kind::string:
            return quoted(value.get_string());
        case boost::json::kind::object:
            return write(value.get_object());
        case boost::json::kind::array:
            return write(value.get_array());
        default:
            out_ += text(value);
        }
    }

    void write(const boost::json::object& dictionary) {
        out_ += "{\n";
        ++level_;
        for (const auto& entry : dictionary) {
            if (full())
                break;
            indent();
            quoted(entry.key());
            out_ += " = ";
            write(entry.value());
            out_ += ";\n";
        }
        --level_;
        indent();
        out_ += '}';
    }

    void write(const boost::json::array& array) {
        out_ += "(\n";
        ++level_;
        for (std::size_t index = 0; index < array.size() && !full(); ++index) {
            indent();
            write(array[index]);
            out_ += index + 1 < array.size() ? ",\n" : "\n";
        }
        --level_;
        indent();
        out_ += ')';
    }

    std::string take() {
        if (full()) {
            out_.resize(maximumLength);
            out_ += "...";
        }
        return std::move(out_);
    }

private:
    bool full() const { return out_.size() > maximumLength; }
    void indent() { out_.append(std::size_t{4} * level_, ' '); }
    void quoted(std::string_view string) {
        out_ += '"';
        for (const char character : string.substr(0, maximumLength)) {
            if (character == '"' || character == '\\')
                out_ += '\\';
            out_ += character;
        }
        out_ += '"';
    }

    std::string out_;
    std::size_t level_ = 0;
};

} // namespace

std::string text(std::nullopt_t) {
    return "(null)";
}

std::string text(std::string_view string) {
    return std::string(string);
}

std::string text(const Error& error) {
    return "Error Domain=" + error.domain + " Code=" + std::to_string(error.code) + " \"" + error.localizedDescription +
           "\"";
}

std::string text(const boost::json::value& value) {
    switch (value.kind()) {
    case boost::json::kind::null:
        return "<null>";
    case boost::json::kind::bool_:
        return value.get_bool() ? "1" : "0";
    case boost::json::kind::string:
        return std::string(value.get_string());
    case boost::json::kind::object:
        return text(value.get_object());
    case boost::json::kind::array:
        return text(value.get_array());
    case boost::json::kind::double_:
        return decimal(value.get_double());
    default:
        return boost::json::serialize(value);
    }
}

std::string text(const boost::json::object& dictionary) {
    Writer writer;
    writer.write(dictionary);
    return writer.take();
}

std::string text(const boost::json::array& array) {
    Writer writer;
    writer.write(array);
    return writer.take();
}

int integerValue(std::string_view string) {
    std::size_t at = 0;
    while (at < string.size() && std::isspace(static_cast<unsigned char>(string[at])) != 0)
        ++at;
    const bool negative = at < string.size() && string[at] == '-';
    if (at < string.size() && (string[at] == '-' || string[at] == '+'))
        ++at;
    constexpr std::int64_t limit = std::numeric_limits<int>::max();
    std::int64_t magnitude = 0;
    for (; at < string.size() && string[at] >= '0' && string[at] <= '9'; ++at)
        magnitude = std::min<std::int64_t>(magnitude * 10 + (string[at] - '0'), limit + 1);
    return static_cast<int>(negative ? -magnitude : std::min(magnitude, limit));
}

} // namespace Platform
