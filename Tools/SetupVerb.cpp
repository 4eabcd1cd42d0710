#include "Tools/Setup/Setup.h"
#include "Tools/Verbs.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <optional>
#include <string>

namespace Tools {

namespace {

constexpr const char* setupHelp =
    "Asks on the terminal for what is neither given nor set already. Signs the user in, which registers an address\n"
    "that the web service does not know, registers this computer, makes the folder DIR/Quenmark, writes the\n"
    "preferences and deployment.json (in managed mode), has the service started with the session, and ends with what\n"
    "`quenmark doctor` finds.\n\n"
    "Run again, it changes what its options name and keeps the rest. A computer that is set up for the same account\n"
    "is not registered again, unless `quenmark prefs unset computerIdKey` was run before. Where it fails, the\n"
    "settings stay as they were.\n\n"
    "Examples:\n"
    "  quenmark setup\n"
    "  quenmark setup --host 127.0.0.1:8080 --mail ann@example.org --password-file secret --path \"$HOME\"\n\n";

CLI::Option& addText(CLI::App& verb, const char* name, std::optional<std::string>& value, const char* type,
                     const char* description) {
    return *verb.add_option_function<std::string>(
                    name, [&value](const std::string& text) { value = text; }, description)
                ->type_name(type);
}

} // namespace

void addSetup(CLI::App& program, Action& action) {
    auto& verb = *program.add_subcommand("setup", "Set this computer up: host, account, computer, folder");
    const auto arguments = std::make_shared<SetupArguments>();
    addText(verb, "--host", arguments->host, "HOST[:PORT]", "The web service");
    auto& mail = addText(verb, "--mail", arguments->mail, "ADDRESS", "The account's mail address");
    auto& password = addText(verb, "--password-file", arguments->passwordFile, "FILE",
                             "Where the account's password is; \"-\" for standard input");
    addText(verb, "--path", arguments->path, "DIR", "The folder that holds the Quenmark folder");
    addText(verb, "--computer", arguments->computer, "ID", "This computer's identifier, where it is registered");
    addText(verb, "--user", arguments->user, "ID", "The user's identifier, in the place of an account")
        .excludes(&mail)
        ->excludes(&password);
    verb.add_flag_callback(
        "--no-enable", [arguments] { arguments->enables = false; }, "Do not have the service started");
    verb.footer(setupHelp + describedExitStatuses());
    verb.callback([&action, arguments] { action = [arguments] { return setUp(*arguments); }; });
}

} // namespace Tools
