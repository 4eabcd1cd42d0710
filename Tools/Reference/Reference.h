#pragma once

#include <string>
#include <string_view>

/// The reference of the web service's operations, made from the catalogue.
namespace Tools::Reference {

/// The reference as Markdown.
std::string markdown();
/// For programs: an OpenAPI 3.1 document (https://spec.openapis.org/oas/v3.1.0).
std::string openApi();

/// The path of every operation starts with this, behind the host.
inline constexpr std::string_view serviceRootPath = "/QuenmarkRestService/";

/// A path as part of a URL: what is not ASCII as the percent-encoded bytes of its UTF-8 (RFC 3987, section 3.1).
std::string encodedPath(std::string_view path);
/// An operation's name as words: "asyncGetTopFileUpload" gives "Get top file upload".
std::string titleOf(std::string_view operationName);
/// Whether an upload carries the key in a header field.
bool travelsInHeader(std::string_view key);

} // namespace Tools::Reference
