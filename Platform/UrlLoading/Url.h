#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace Platform {

/// The text of a URL (RFC 3986). It may be relative; a request needs an absolute one.
class Url {
public:
    /// The URL of a text, taken as it stands; nil when the text is empty or holds a character that a URL may not hold
    /// (a blank, a control character, a quotation mark, "<", ">", a backslash, "^", a grave accent, "{", "|", "}", a
    /// byte outside ASCII), a "%" without two hexadecimal digits, or a "[" or "]" outside of an address in the host.
    static std::optional<Url> fromString(std::string_view text);
    /// The file URL of a local path, escaped as needed.
    static Url fileUrl(std::string_view path);

    /// The text.
    const std::string& absoluteString() const { return text_; }
    /// The scheme in lower case, or "".
    std::string scheme() const;
    /// The path with its escapes undone, without query and fragment.
    std::string path() const;

    /// The URL that a reference in a document at this one means (RFC 3986, section 5.2). Blanks and bytes outside ASCII
    /// in it are escaped first. A reference with a scheme is taken as it stands; nil where the result is no URL.
    std::optional<Url> resolve(std::string_view reference) const;

    /// Whether a host stands behind "//".
    bool hasHost() const;
    /// Scheme, host and port in lower case, the scheme's usual port left out: "http://host:8080". What one connection
    /// can serve (RFC 9110, section 4.3.1).
    std::string origin() const;

    bool operator==(const Url&) const = default;

private:
    explicit Url(std::string text) : text_(std::move(text)) {}
    std::string text_;
};

} // namespace Platform
