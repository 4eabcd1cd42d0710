#pragma once

#include "Tools/Failure.h"

#include <string>
#include <vector>

namespace CLI {
class App;
}

/// What the completions of the shells (Packaging/completions) ask the program for, so that they know no verb, option
/// or key themselves.
namespace Tools::Completion {

/// The first argument of a process that is to complete a command line. It is no verb: nobody types it, and what comes
/// behind it is a line that is not finished.
inline constexpr const char* request = "complete";

/// Prints what the last of the words, which follow the program's name, may be completed to; that word may be empty. The
/// first line is "words", "files" or "folders". Behind "words" every line is a word, with a tab and a description where
/// there is one; a word that ends with "=" is not complete yet. Words that do not begin as the last one does are among
/// them. A control character is in none.
///
/// Changes nothing, launches nothing, and ends with Success: a person is typing, who sees nothing of standard error.
/// After a second or so without a result it prints nothing; what it prints is whole, however slowly it is read.
ExitStatus complete(const CLI::App& program, const std::vector<std::string>& words);

} // namespace Tools::Completion
