#include "Platform/Files/Files.h"
#include "Platform/Settings/Preferences.h"
#include "Platform/Utf8.h"
#include "Tools/NearestName.h"
#include "Tools/Output.h"
#include "Tools/RequiredSettings.h"
#include "Tools/Sandbox.h"
#include "Tools/SharedPreferences.h"
#include "Tools/Verbs.h"

#include <CLI/CLI.hpp>
#include <boost/json/serialize.hpp>

#include <algorithm>
#include <memory>
#include <string_view>
#include <vector>

namespace Tools {

namespace Preferences = Platform::Preferences;

namespace {

struct PrefsArguments {
    std::string key;
    std::string value;
    bool asJson = false;
    bool isForced = false;
};
using SharedArguments = std::shared_ptr<PrefsArguments>;

/// A string as it is, any other value as JSON.
std::string textOf(const boost::json::value& value) {
    if (const auto* string = value.if_string())
        return {string->data(), string->size()};
    return boost::json::serialize(value);
}

ExitStatus list(const PrefsArguments& arguments) {
    const auto preferences = sharedPreferences();
    if (arguments.asJson) {
        print(prettyJson(preferences));
        return ExitStatus::Success;
    }
    for (const auto& [key, value] : preferences)
        printLine(std::string(key) + "=" + textOf(value));
    return ExitStatus::Success;
}

ExitStatus get(const PrefsArguments& arguments) {
    const auto preferences = sharedPreferences();
    const auto* value = preferences.if_contains(arguments.key);
    if (value == nullptr)
        throw Failure(ExitStatus::NoInput, arguments.key + " is not set");
    printLine(textOf(*value));
    return ExitStatus::Success;
}

void requireUtf8(const std::string& text, const char* what) {
    const auto place = Platform::firstInvalidUtf8(text);
    if (place != std::string::npos)
        throw Failure(ExitStatus::DataError, std::string(what) + " is not UTF-8 at byte " + std::to_string(place));
}

/// The folder that items are placed in must be there before the first of them comes.
void makeQuenmarkFolder(const std::string& path) {
    if (!path.starts_with('/'))
        throw Failure(ExitStatus::Usage, std::string(quenmarkPathKey) + " must be an absolute path");
    if (const auto error =
            Platform::Files::createDirectory(Platform::Files::appendingPathComponent(path, quenmarkFolderName)))
        throw Failure(ExitStatus::CannotCreate, error->localizedDescription);
}

/// A key that nothing reads is a mistyped one.
void requireKnownKey(const std::string& key) {
    const std::vector<std::string_view> keys(knownPreferenceKeys.begin(), knownPreferenceKeys.end());
    if (std::ranges::find(keys, key) == keys.end())
        throw Failure(ExitStatus::Usage, "nothing reads \"" + key + "\"; the nearest key is " +
                                             std::string(nearestName(key, keys)) + " (--force sets it all the same)");
}

ExitStatus set(const PrefsArguments& arguments) {
    requireUtf8(arguments.key, "the key");
    requireUtf8(arguments.value, "the value");
    if (!arguments.isForced)
        requireKnownKey(arguments.key);
    if (arguments.key == computerIdKey && arguments.value.empty())
        throw Failure(ExitStatus::Usage, std::string(computerIdKey) + " must not be empty");
    if (arguments.key == quenmarkPathKey)
        makeQuenmarkFolder(arguments.value);
    if (const auto error = Preferences::setObject(sharedDomain, arguments.key, boost::json::value(arguments.value)))
        throw settingsFailure(*error);
    if (arguments.key == quenmarkPathKey && !Sandbox::covers(arguments.value))
        printMessage("quenmark.service may not write there; to let it, run: quenmark setup");
    return ExitStatus::Success;
}

ExitStatus unset(const PrefsArguments& arguments) {
    if (const auto error = Preferences::removeObject(sharedDomain, arguments.key))
        throw settingsFailure(*error);
    return ExitStatus::Success;
}

CLI::App& addCommand(CLI::App& verb, Action& action, const SharedArguments& arguments, const char* name,
                     const char* description, ExitStatus (*run)(const PrefsArguments&)) {
    auto& command = *verb.add_subcommand(name, description);
    command.callback([&action, arguments, run] { action = [arguments, run] { return run(*arguments); }; });
    return command;
}

} // namespace

void addPrefs(CLI::App& program, Action& action) {
    auto& verb = *program.add_subcommand("prefs", "Read and change the preferences of the service");
    verb.require_subcommand(1);
    verb.footer("Keys that the service reads: computerIdKey (this computer's identifier), userIdKey (the signed-in\n"
                "user's), quenmarkPathKey (the folder that holds the Quenmark folder, which `set` makes). Changes are\n"
                "atomic, and the running service reads them at its next request.\n\n"
                "Example:\n  quenmark prefs set computerIdKey 17");
    const auto arguments = std::make_shared<PrefsArguments>();

    auto& listing = addCommand(verb, action, arguments, "list", "Print every preference, one KEY=VALUE a line", list);
    listing.add_flag("--json", arguments->asJson, "Print a JSON object");
    listing.footer("Example:\n  quenmark prefs list");

    auto& getting = addCommand(verb, action, arguments, "get", "Print the value of one preference", get);
    getting.add_option("KEY", arguments->key, "The preference's name")->required();
    getting.footer("Ends with 66 where the preference is not set.\n\nExample:\n  quenmark prefs get quenmarkPathKey");

    auto& setting = addCommand(verb, action, arguments, "set", "Set one preference", set);
    setting.add_option("KEY", arguments->key, "The preference's name")->required();
    setting.add_option("VALUE", arguments->value, "Its value, kept as a string")->required();
    setting.add_flag("--force", arguments->isForced, "Set a key that nothing reads");
    setting.footer("Setting quenmarkPathKey also makes the folder VALUE/Quenmark. Behind \"--\" a value may begin\n"
                   "with \"-\".\n\nExamples:\n  quenmark prefs set quenmarkPathKey \"$HOME\"\n"
                   "  quenmark prefs set -- userIdKey -1");

    auto& unsetting = addCommand(verb, action, arguments, "unset", "Remove one preference", unset);
    unsetting.add_option("KEY", arguments->key, "The preference's name")->required();
    unsetting.footer("A preference that is not set is no error.\n\nExample:\n  quenmark prefs unset userIdKey");
}

} // namespace Tools
