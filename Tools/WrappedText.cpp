#include "Tools/WrappedText.h"

#include "Tools/Output.h"

#include <algorithm>

namespace Tools {

std::vector<std::string_view> wrapped(std::string_view text, std::size_t width) {
    std::vector<std::string_view> result;
    while (text.size() > width) {
        const std::size_t blank = text.rfind(' ', width);
        const auto piece =
            blank == std::string_view::npos || blank == 0 ? beginning(text, width) : text.substr(0, blank);
        result.push_back(piece);
        text.remove_prefix(piece.size());
        text.remove_prefix(std::min(text.find_first_not_of(' '), text.size()));
    }
    result.push_back(text);
    return result;
}

} // namespace Tools
