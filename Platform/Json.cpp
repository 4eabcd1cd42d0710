#include "Platform/Json.h"

#include "Platform/Utf8.h"

#include <boost/json.hpp>

#include <algorithm>
#include <cmath>
#include <optional>

namespace Platform::Json {

namespace {

/// Freeing the values of a long text one by one takes as long as reading it.
constexpr std::size_t longText = 1 << 20;

Error errorOf(std::string description) {
    return Error{errorDomain, errorCode, std::move(description)};
}

std::string atByte(std::size_t offset) {
    return " at byte " + std::to_string(offset);
}

/// Writes a value as it goes; after the first thing that JSON cannot carry, `failure` says what it was.
class PrettyWriter {
public:
    void write(const boost::json::value& value) {
        switch (value.kind()) {
        case boost::json::kind::string:
            return writeString(value.get_string());
        case boost::json::kind::double_:
            if (!std::isfinite(value.get_double()))
                return fail("a number that is not finite");
            out += boost::json::serialize(value);
            return;
        case boost::json::kind::object:
            return writeAll(value.get_object(), '{', '}', [this](const auto& entry) {
                writeString(entry.key());
                out += " : ";
                write(entry.value());
            });
        case boost::json::kind::array:
            return writeAll(value.get_array(), '[', ']', [this](const auto& element) { write(element); });
        default:
            out += boost::json::serialize(value);
        }
    }

    std::string out;
    std::optional<std::string> failure;

private:
    template <class Container, class WriteOne>
    void writeAll(const Container& container, char open, char close, const WriteOne& writeOne) {
        out += open;
        ++level_;
        bool first = true;
        for (const auto& one : container) {
            out += first ? "\n" : ",\n";
            first = false;
            out.append(2 * level_, ' ');
            writeOne(one);
        }
        --level_;
        if (!first) {
            out += '\n';
            out.append(2 * level_, ' ');
        }
        out += close;
    }

    void writeString(std::string_view string) {
        const std::size_t invalid = firstInvalidUtf8(string);
        if (invalid != std::string_view::npos)
            return fail("a string that is not UTF-8" + atByte(invalid));
        out += boost::json::serialize(boost::json::string_view(string.data(), string.size()));
    }

    void fail(std::string what) {
        if (!failure)
            failure = std::move(what);
    }

    std::size_t level_ = 0;
};

/// Whether every number has a value; the parser takes one that is too large for infinity.
bool isFinite(const boost::json::value& value) {
    switch (value.kind()) {
    case boost::json::kind::double_:
        return std::isfinite(value.get_double());
    case boost::json::kind::array:
        return std::ranges::all_of(value.get_array(), isFinite);
    case boost::json::kind::object:
        return std::ranges::all_of(value.get_object(), [](const auto& entry) { return isFinite(entry.value()); });
    default:
        return true;
    }
}

} // namespace

std::variant<boost::json::value, Error> parse(std::string_view text) {
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    const std::size_t skipped = text.starts_with(byteOrderMark) ? byteOrderMark.size() : 0;
    text.remove_prefix(skipped);

    boost::json::parse_options options;
    options.max_depth = maximumDepth;
    boost::json::parser parser({}, options);
    if (text.size() >= longText)
        parser.reset(boost::json::make_shared_resource<boost::json::monotonic_resource>());
    boost::json::error_code failure;
    const std::size_t consumed = parser.write_some(text.data(), text.size(), failure);
    if (failure)
        return errorOf("Not JSON: " + failure.message() + atByte(skipped + consumed));
    const std::size_t more = text.find_first_not_of(" \t\r\n", consumed);
    if (more != std::string_view::npos)
        return errorOf("Not JSON: something follows the value" + atByte(skipped + more));
    auto value = parser.release();
    if (!value.is_structured())
        return errorOf("Not JSON: the top level is neither an object nor an array" +
                       atByte(skipped + text.find_first_not_of(" \t\r\n")));
    if (!isFinite(value))
        return errorOf("Not JSON: a number that is too large");
    return value;
}

std::variant<std::string, Error> prettyPrinted(const boost::json::value& value) {
    PrettyWriter writer;
    writer.write(value);
    if (writer.failure)
        return errorOf("Cannot be written as JSON: " + *writer.failure);
    return std::move(writer.out);
}

} // namespace Platform::Json
