#include "Tools/Completion/TypedLine.h"

#include <CLI/CLI.hpp>

namespace Tools::Completion {

namespace {

void addOption(TypedLine& line, const std::string& word) {
    const auto equals = word.find('=');
    const auto* option = line.verb->get_option_no_throw(word.substr(0, equals));
    if (option == nullptr)
        return;
    line.options[option] = equals == std::string::npos ? "" : word.substr(equals + 1);
    if (equals == std::string::npos && option->get_items_expected_max() > 0)
        line.awaiting = option;
}

void addWord(TypedLine& line, const std::string& word) {
    if (line.positionals.empty()) {
        const auto verbs = line.verb->get_subcommands([&](const CLI::App* verb) { return verb->get_name() == word; });
        if (!verbs.empty()) {
            line = {.verb = verbs.front()};
            return;
        }
    }
    line.positionals.push_back(word);
}

} // namespace

std::optional<std::string> TypedLine::valueOf(const std::string& name) const {
    const auto option = options.find(verb->get_option_no_throw(name));
    return option == options.end() ? std::nullopt : std::optional(option->second);
}

TypedLine typedLine(const CLI::App& program, const std::vector<std::string>& words) {
    TypedLine line{.verb = &program};
    for (const auto& word : words) {
        if (line.awaiting != nullptr) {
            line.options[line.awaiting] = word;
            line.awaiting = nullptr;
        } else if (line.hasEndOfOptions || word.size() < 2 || !word.starts_with('-')) {
            addWord(line, word);
        } else if (word == "--") {
            line.hasEndOfOptions = true;
        } else {
            addOption(line, word);
        }
    }
    return line;
}

} // namespace Tools::Completion
