#include "Tools/Completion/Completion.h"

#include "Platform/Printable.h"
#include "Tools/Completion/Values.h"
#include "Tools/Output.h"

#include <CLI/CLI.hpp>

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <exception>
#include <utility>

namespace Tools::Completion {

namespace {

/// How long a shell waits, in seconds.
constexpr unsigned limit = 1;

Candidates verbsOf(const CLI::App& app) {
    Candidates verbs;
    for (const auto* verb : app.get_subcommands([](const CLI::App*) { return true; }))
        verbs.words.push_back({verb->get_name(), verb->get_description()});
    return verbs;
}

/// Whether the option can be given beside those that are there.
bool canBeAdded(const CLI::Option& option, const TypedLine& line) {
    const auto excludes = option.get_excludes();
    return std::ranges::none_of(line.options, [&](const auto& given) {
        return given.first == &option ||
               std::ranges::any_of(excludes, [&](const auto* excluded) { return excluded == given.first; });
    });
}

Candidates optionsFor(const TypedLine& line) {
    Candidates options;
    for (const auto* option : line.verb->get_options()) {
        if (option->get_lnames().empty() || !canBeAdded(*option, line))
            continue;
        for (const auto& name : option->get_lnames())
            options.words.push_back({"--" + name, option->get_description()});
    }
    return options;
}

/// The positional argument that the word at the cursor is; nil where there is none for it.
const CLI::Option* nextPositional(const TypedLine& line) {
    auto before = static_cast<int>(line.positionals.size());
    for (const auto* option : line.verb->get_options([](const CLI::Option* one) { return one->get_positional(); })) {
        if (before < option->get_items_expected_max())
            return canBeAdded(*option, line) ? option : nullptr;
        before -= option->get_items_expected_max();
    }
    return nullptr;
}

/// "--option=value": the values, behind what stands before them.
Candidates joinedValues(const TypedLine& line, const std::string& typed) {
    const auto start = typed.find('=') + 1;
    const auto* option = line.verb->get_option_no_throw(typed.substr(0, start - 1));
    if (option == nullptr)
        return {};
    auto values = valuesOf(*option, line, typed.substr(start));
    for (auto& word : values.words)
        word.text.insert(0, typed, 0, start);
    return values;
}

Candidates candidatesFor(const CLI::App& program, const std::vector<std::string>& words) {
    const std::string typed = words.empty() ? "" : words.back();
    const auto line = typedLine(program, {words.begin(), words.empty() ? words.end() : words.end() - 1});
    if (line.awaiting != nullptr)
        return valuesOf(*line.awaiting, line, typed);
    if (typed.starts_with('-') && !line.hasEndOfOptions)
        return typed.find('=') == std::string::npos ? optionsFor(line) : joinedValues(line, typed);
    if (auto verbs = verbsOf(*line.verb); !verbs.words.empty())
        return line.positionals.empty() ? verbs : Candidates();
    if (const auto* positional = nextPositional(line))
        return valuesOf(*positional, line, typed);
    return line.hasEndOfOptions ? Candidates() : optionsFor(line);
}

std::string textOf(const Candidates& candidates) {
    constexpr std::string_view kinds[] = {"words", "files", "folders"};
    std::string text(kinds[static_cast<std::size_t>(candidates.kind)]);
    text += '\n';
    for (const auto& [word, description] : candidates.words) {
        // External names with control characters are not offered.
        if (Platform::printable(word) != word)
            continue;
        text += word;
        if (!description.empty())
            text += '\t' + Platform::printable(description);
        text += '\n';
    }
    return text;
}

} // namespace

ExitStatus complete(const CLI::App& program, const std::vector<std::string>& words) {
    // Ends the process wherever it is, name resolution included.
    std::signal(SIGALRM, [](int) { ::_exit(static_cast<int>(ExitStatus::Success)); });
    ::alarm(limit);
    try {
        const auto text = textOf(candidatesFor(program, words));
        // A shell would accept part of a word as a word: from here on only the end of its reader ends the process
        // early.
        std::signal(SIGALRM, SIG_IGN);
        print(text);
    } catch (const std::exception&) {
        // Such as an operation that there is not. Whoever types sees it when the line is carried out.
    }
    return ExitStatus::Success;
}

} // namespace Tools::Completion
