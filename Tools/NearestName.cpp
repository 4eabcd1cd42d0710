#include "Tools/NearestName.h"

#include "Platform/Ascii.h"

#include <algorithm>
#include <numeric>

namespace Tools {

std::size_t editDistance(std::string_view one, std::string_view other) {
    const std::string left = Platform::lowerCase(one);
    const std::string right = Platform::lowerCase(other);
    std::vector<std::size_t> row(right.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 0; i < left.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i + 1;
        for (std::size_t j = 0; j < right.size(); ++j) {
            const std::size_t replaced = diagonal + (left[i] == right[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back();
}

std::string_view nearestName(std::string_view name, const std::vector<std::string_view>& names) {
    const auto nearest =
        std::ranges::min_element(names, {}, [&](std::string_view candidate) { return editDistance(name, candidate); });
    return nearest == names.end() ? std::string_view() : *nearest;
}

} // namespace Tools
