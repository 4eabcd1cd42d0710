#include "Tools/Completion/Values.h"

#include "Platform/Settings/Preferences.h"
#include "Tools/Completion/Computers.h"
#include "Tools/OperationTable.h"
#include "Tools/SharedPreferences.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <iterator>
#include <string_view>

namespace Tools::Completion {

namespace {

Candidates files(const TypedLine&, const std::string&) {
    return {.kind = Candidates::Kind::Files};
}

Candidates folders(const TypedLine&, const std::string&) {
    return {.kind = Candidates::Kind::Folders};
}

Candidates computers(const TypedLine& line, const std::string&) {
    const auto server = line.valueOf("--server");
    return {.words = computersAt(server ? server : line.valueOf("--host"))};
}

/// Names are given without "async", as people type them, unless the word begins with it.
Candidates operations(const TypedLine&, const std::string& typed) {
    constexpr std::string_view prefix = "async";
    const bool hasPrefix = !typed.empty() && (typed.starts_with(prefix) || prefix.starts_with(typed));
    Candidates names;
    for (const auto& operation : operationTable())
        names.words.push_back(
            {std::string(operation.name.substr(hasPrefix ? 0 : prefix.size())), std::string(operation.path)});
    return names;
}

/// The keys of the operation that are not there yet; behind the "=" of a computer's key, computers.
Candidates pairs(const TypedLine& line, const std::string& typed) {
    const auto keyOf = [](std::string_view pair) { return pair.substr(0, pair.find('=')); };
    Candidates candidates;
    if (typed.find('=') != std::string::npos) {
        const std::string key(keyOf(typed));
        if (!key.ends_with("ComputerID"))
            return candidates;
        candidates = computers(line, typed);
        for (auto& word : candidates.words)
            word.text = key + "=" + word.text;
        return candidates;
    }
    for (const auto key : operationTable()[operationNamed(line.positionals.front())].requestKeys()) {
        if (std::ranges::find(line.positionals, key, keyOf) == line.positionals.end())
            candidates.words.push_back({std::string(key) + "=", ""});
    }
    return candidates;
}

Candidates preferenceKeys(const TypedLine& line, const std::string&) {
    Candidates keys;
    for (const auto* key : knownPreferenceKeys)
        keys.words.push_back({key, ""});
    if (line.verb->get_name() == "set")
        return keys;
    const auto preferences = Platform::Preferences::persistentDomainForName(sharedDomain);
    for (const auto& [key, value] : preferences.value_or(boost::json::object())) {
        if (std::ranges::find(knownPreferenceKeys, key) == knownPreferenceKeys.end())
            keys.words.push_back({std::string(key), ""});
    }
    return keys;
}

Candidates preferenceValues(const TypedLine& line, const std::string& typed) {
    return line.positionals.front() == quenmarkPathKey ? folders(line, typed) : Candidates();
}

struct Source {
    /// The name of an option or a positional argument, or what the help calls its value.
    std::string_view name;
    Candidates (*candidates)(const TypedLine& line, const std::string& typed);
};

constexpr Source sources[] = {
    {"--computer", computers}, {"COMPUTER", computers}, {"DIR", folders},
    {"FILE", files},           {"KEY", preferenceKeys}, {"OPERATION", operations},
    {"PAIR", pairs},           {"PATH", files},         {"VALUE", preferenceValues},
};

} // namespace

Candidates valuesOf(const CLI::Option& option, const TypedLine& line, const std::string& typed) {
    const auto name = option.get_name(option.get_positional());
    const auto type = option.get_type_name();
    const auto* source =
        std::ranges::find_if(sources, [&](const Source& one) { return one.name == name || one.name == type; });
    return source == std::end(sources) ? Candidates() : source->candidates(line, typed);
}

} // namespace Tools::Completion
