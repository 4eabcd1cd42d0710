#include "Tools/UnknownWord.h"

#include "Tools/NearestName.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <string_view>

namespace Tools {

namespace {

std::vector<const CLI::App*> verbsOf(const CLI::App& app) {
    return app.get_subcommands([](const CLI::App*) { return true; });
}

std::string unknown(const char* kind, const std::string& name, const std::vector<std::string>& names) {
    return std::string("there is no ") + kind + " \"" + name + "\"; the nearest one is " +
           std::string(nearestName(name, {names.begin(), names.end()}));
}

std::string unknownVerb(const CLI::App& app, const std::string& name) {
    std::vector<std::string> names;
    for (const auto* verb : verbsOf(app))
        names.push_back(verb->get_name());
    return unknown("verb", name, names);
}

std::string unknownOption(const CLI::App& app, const std::string& name) {
    std::vector<std::string> names;
    for (const auto* option : app.get_options()) {
        for (const auto& longName : option->get_lnames())
            names.push_back("--" + longName);
    }
    return unknown("option", name, names);
}

} // namespace

std::optional<std::string> unknownWord(const CLI::App& program, const std::vector<std::string>& arguments) {
    const CLI::App* app = &program;
    for (std::size_t at = 0; at < arguments.size() && arguments[at] != "--"; ++at) {
        const std::string name = arguments[at].substr(0, arguments[at].find('='));
        if (name.size() > 1 && name.starts_with('-')) {
            const auto* option = app->get_option_no_throw(name);
            if (option == nullptr)
                return unknownOption(*app, name);
            // Its value is no word of the program's.
            if (option->get_items_expected_max() > 0 && name == arguments[at])
                ++at;
            continue;
        }
        const auto verbs = verbsOf(*app);
        const auto verb = std::ranges::find(verbs, arguments[at], [](const CLI::App* one) { return one->get_name(); });
        if (verb != verbs.end())
            app = *verb;
        else if (!verbs.empty())
            return unknownVerb(*app, arguments[at]);
    }
    return std::nullopt;
}

} // namespace Tools
