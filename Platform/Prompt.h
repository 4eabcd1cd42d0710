#pragma once

#include "Platform/Secret.h"

#include <optional>
#include <string>

/// Questions to the person at the terminal.
namespace Platform::Prompt {

/// Whether there is somebody to ask: standard input and standard error are terminals (isatty(3)).
bool isPossible();

/// Whether the terminal shows what is typed.
enum class Echo { On, Off };

/// Writes the question to standard error and waits for a line at standard input, which is given without its end; nil
/// where the input has ended (Ctrl-D). The terminal is as it was on every return. A signal that ends or stops the
/// process (SIGHUP, SIGINT, SIGQUIT, SIGTERM, SIGTSTP) does so once the terminal is as it was; a process that goes on
/// afterwards asks again.
std::optional<Secret> ask(const std::string& question, Echo echo);

} // namespace Platform::Prompt
