#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace Tools {

/// A width that every text fits into.
inline constexpr std::size_t unlimitedWidth = std::string_view::npos;

/// The text in pieces of at most so many bytes, of which it has at least as many as columns; each but the last ends
/// before a blank where there is one. The pieces are views into the text.
std::vector<std::string_view> wrapped(std::string_view text, std::size_t width);

} // namespace Tools
