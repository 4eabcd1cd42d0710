#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
} // namespace CLI

namespace Tools::Completion {

/// The words in front of the word at the cursor.
struct TypedLine {
    /// The innermost verb, such as the `set` of `prefs set`; the program itself where there is none yet.
    const CLI::App* verb = nullptr;
    /// The options of that verb with their values, which are "" where an option has none.
    std::map<const CLI::Option*, std::string> options = {};
    std::vector<std::string> positionals = {};
    /// The option whose value the word at the cursor is; nil where it is none.
    const CLI::Option* awaiting = nullptr;
    /// Whether "--" was there, behind which no word is an option.
    bool hasEndOfOptions = false;

    /// The value of the option of that name, such as "--server"; nil where it is not there.
    std::optional<std::string> valueOf(const std::string& name) const;
};

TypedLine typedLine(const CLI::App& program, const std::vector<std::string>& words);

} // namespace Tools::Completion
