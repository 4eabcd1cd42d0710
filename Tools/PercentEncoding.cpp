#include "Tools/PercentEncoding.h"

#include <array>
#include <cstdio>

namespace Tools {

std::string percentEncoded(std::string_view text) {
    std::string encoded;
    for (const char character : text) {
        const bool isUnreserved = (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z') ||
                                  (character >= '0' && character <= '9') ||
                                  std::string_view("-._~").find(character) != std::string_view::npos;
        if (isUnreserved) {
            encoded += character;
            continue;
        }
        std::array<char, 4> escape{};
        std::snprintf(escape.data(), escape.size(), "%%%02X", static_cast<unsigned char>(character));
        encoded += escape.data();
    }
    return encoded;
}

} // namespace Tools
