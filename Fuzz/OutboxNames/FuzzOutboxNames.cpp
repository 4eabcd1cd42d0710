// Any bytes as a path in the outbox, as a computer's own path and as the target of a PUT: what is taken stays inside
// the computer's folder, can be sent on the wire, and is found again from its wire name.

#include "WebService/Common/RequestError.h"
#include "WebService/Common/WireName.h"
#include "WebService/Http/Request.h"
#include "WebService/PushTarget.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <string_view>

namespace {

void require(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "%s\n", what);
        std::abort();
    }
}

void checkPath(const std::string& path) {
    const std::filesystem::path inside = std::filesystem::path("/outbox/7") / path;
    require(inside.lexically_normal() == inside, "a path has an empty part, \".\" or \"..\"");
    require(inside.string().starts_with("/outbox/7/") && !path.ends_with('/'), "a path leaves its folder");
    require(path.size() <= webservice::maxPathLength, "a path is too long");
}

void checkName(const std::string& name) {
    require(name.starts_with('\\') && webservice::isUtf8(name), "a name cannot be sent");
    for (const char c : name) {
        const auto byte = static_cast<unsigned char>(c);
        require(byte >= 0x20 && byte != 0x7f && c != '/', "a name cannot stand in a header field");
    }
    const std::string path = webservice::outboxPath(name);
    checkPath(path);
    require(webservice::wireName(path) == name, "a name is not found again");
    if (const std::string parent = name.substr(0, name.rfind('\\')); !parent.empty()) {
        require(webservice::wireName(webservice::outboxPath(parent)) == parent, "a folder has no name");
    }
}

void checkPercentCoding(std::string_view text) {
    std::string encoded;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        encoded += '%';
        encoded += "0123456789abcdef"[byte >> 4];
        encoded += "0123456789ABCDEF"[byte & 15];
    }
    require(webservice::percentDecoded(encoded) == std::string(text), "what was encoded is decoded to something else");
    const auto decoded = webservice::percentDecoded(text);
    require(!decoded || decoded->size() <= text.size(), "decoding makes a text longer");
}

void checkTarget(std::string_view text) {
    try {
        const auto target = webservice::parsePushTarget("/outbox/" + std::string(text));
        require(webservice::isExpressible(target.computer), "a computer cannot be a folder");
        require(target.isFolder == text.ends_with('/'), "a file is treated as a folder");
        const auto name = webservice::wireName(target.path);
        require(name.has_value(), "a target has no name");
        checkName(*name);
    } catch (const webservice::RequestError& error) {
        require(error.status() == 400, "a target is refused in another way");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    if (const auto name = webservice::wireName(text)) {
        require(webservice::outboxPath(*name) == text, "a path is not found again");
        checkName(*name);
    }
    const std::string_view first = text.substr(0, text.find('\n'));
    if (const auto name = webservice::nameWithin(first, text.substr(std::min(first.size() + 1, size)))) {
        checkName(*name);
    }
    checkPercentCoding(text);
    checkTarget(text);
    return 0;
}
