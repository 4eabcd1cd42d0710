#include "Platform/Json.h"
#include "Platform/Utf8.h"

#include <boost/json/serialize.hpp>

#include <cmath>
#include <optional>

namespace Platform::Json {

namespace {

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
            return fail("a string that is not UTF-8 at byte " + std::to_string(invalid));
        out += boost::json::serialize(boost::json::string_view(string.data(), string.size()));
    }

    void fail(std::string what) {
        if (!failure)
            failure = std::move(what);
    }

    std::size_t level_ = 0;
};

} // namespace

std::variant<std::string, Error> prettyPrinted(const boost::json::value& value) {
    PrettyWriter writer;
    writer.write(value);
    if (writer.failure)
        return Error{errorDomain, errorCode, "Cannot be written as JSON: " + *writer.failure};
    return std::move(writer.out);
}

} // namespace Platform::Json
