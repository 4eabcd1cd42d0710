#pragma once

#include <cstddef>

/// The terminals at the standard streams of this process (tty(4)).
namespace Platform::Terminal {

struct Size {
    std::size_t rows = 24;
    std::size_t columns = 80;

    bool operator==(const Size&) const = default;
};

/// Whether standard output, or standard error, is a terminal that understands escape sequences: TERM is not "dumb"
/// (environ(7)).
bool outputTakesEscapes();
bool errorTakesEscapes();
/// Whether colours are wanted on standard output: it takes escape sequences, and NO_COLOR is unset or empty
/// (no-color.org).
bool outputTakesColours();
/// The size of the terminal at standard output; what it does not say is the usual size.
Size outputSize();

} // namespace Platform::Terminal
