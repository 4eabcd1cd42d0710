#include "Platform/UrlLoading/RequestHeaders.h"

#include "Product.h"

#include <algorithm>
#include <cerrno>
#include <initializer_list>
#include <optional>

namespace Platform {

namespace {

bool isTokenCharacter(char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
           (character >= '0' && character <= '9') ||
           std::string_view("!#$%&'*+-.^_`|~").find(character) != std::string_view::npos;
}

bool isToken(std::string_view text) {
    return !text.empty() && std::all_of(text.begin(), text.end(), isTokenCharacter);
}

bool isControl(char character) {
    return (static_cast<unsigned char>(character) < 0x20 && character != '\t') || character == 0x7F;
}

/// The program's name and the product's version (RFC 9110, section 10.1.5).
std::string userAgent() {
    std::string name = program_invocation_short_name;
    std::replace_if(
        name.begin(), name.end(), [](char character) { return !isTokenCharacter(character); }, '-');
    return name + "/" + Product::version;
}

void remove(HeaderFields& fields, std::initializer_list<std::string_view> names) {
    for (const auto name : names)
        fields.remove(name);
}

/// What is wrong with the field; nil when it is one of HTTP's.
std::optional<Error> defect(const HeaderFields::Field& field) {
    if (!isToken(field.first))
        return UrlError::make(UrlError::BadUrl, "a header field has a name that HTTP does not allow");
    if (std::any_of(field.second.begin(), field.second.end(), isControl))
        return UrlError::make(UrlError::BadUrl,
                              "the header field \"" + field.first + "\" has a value that HTTP does not allow");
    return std::nullopt;
}

} // namespace

std::variant<RequestHeaders, Error> RequestHeaders::of(const UrlRequest& request, const HeaderFields& additional) {
    if (!isToken(request.httpMethod))
        return UrlError::make(UrlError::BadUrl, "the method is not one that HTTP allows");
    RequestHeaders headers;
    headers.method = request.httpMethod;
    if (!request.headerFields.has("User-Agent") && !additional.has("User-Agent")) {
        static const std::string own = userAgent();
        headers.fields.set("User-Agent", own);
    }
    for (const HeaderFields* fields : {&request.headerFields, &additional}) {
        for (const auto& field : *fields) {
            if (auto error = defect(field))
                return std::move(*error);
            if (fields == &request.headerFields || !request.headerFields.has(field.first))
                headers.fields.set(field.first, trimmed(field.second));
        }
    }
    remove(headers.fields, {"Content-Length", "Transfer-Encoding"});
    return headers;
}

bool RequestHeaders::isIdempotent() const {
    return method == "GET" || method == "HEAD" || method == "OPTIONS" || method == "TRACE" || method == "PUT" ||
           method == "DELETE";
}

bool RequestHeaders::redirect(int status, bool toOtherOrigin) {
    if (toOtherOrigin)
        remove(fields, {"Host", "Authorization", "Cookie"});
    const bool becomesGet = ((status == 301 || status == 302) && method == "POST") ||
                            (status == 303 && method != "GET" && method != "HEAD");
    if (!becomesGet)
        return true;
    method = "GET";
    remove(fields, {"Content-Type", "Content-Encoding", "Content-Language", "Content-Location"});
    return false;
}

bool isRedirect(int status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

} // namespace Platform
