#pragma once

#include "Platform/Error.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

/// The standard streams of this process (stdin(3)). Reading and writing block.
namespace Platform::StandardStreams {

/// Puts /dev/null in the place of each stream that is closed, so that no file or socket of this process gets its number
/// and with it what is written to the stream. To be called before anything is opened.
void keepOpen();

/// Whether a person types standard input (isatty(3)).
bool inputIsTerminal();
/// Whether a person sees standard output, or standard error (isatty(3)).
bool outputIsTerminal();
bool errorIsTerminal();
/// How many columns the terminal at standard error has; 80 where it does not say.
std::size_t errorColumns();

/// Writes all of `bytes` to standard output. A closed pipe is an error (EPIPE) and no signal.
std::optional<Error> writeOutput(std::string_view bytes);
/// Writes to standard error as far as that goes.
void writeError(std::string_view bytes);
/// All of standard input, up to its end. More than `limit` bytes are an error (EFBIG).
std::variant<std::string, Error> readInput(std::size_t limit);

} // namespace Platform::StandardStreams
