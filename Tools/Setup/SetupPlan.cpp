#include "Tools/Setup/SetupPlan.h"

#include "Platform/Files/Files.h"
#include "Platform/Printable.h"
#include "Platform/Prompt.h"
#include "Platform/Settings/DeploymentSettings.h"
#include "Platform/Settings/Environment.h"
#include "Platform/StandardStreams.h"
#include "Tools/Failure.h"
#include "Tools/Output.h"
#include "Tools/Setup/InputChecks.h"
#include "Tools/Setup/Password.h"

#include <utility>
#include <vector>

namespace Tools {

using InputChecks::Problem;

namespace {

namespace Prompt = Platform::Prompt;

constexpr const char* hostOption = "--host";
constexpr const char* mailOption = "--mail";
constexpr const char* passwordOption = "--password-file";
constexpr const char* pathOption = "--path";

Failure missing(const std::string& options) {
    return {ExitStatus::Usage, "missing: " + options + " (there is no terminal to ask on)"};
}

void requireValid(const char* option, const std::optional<std::string>& value, Problem (*check)(const std::string&)) {
    if (!value)
        return;
    if (const auto problem = check(*value))
        throw Failure(ExitStatus::Usage, std::string(option) + " " + *problem + ": " + *value);
}

/// With the home directory in the place of a "~" in front, which no shell has replaced, and no "/" at the end.
std::string folderOf(std::string text) {
    if (text == "~" || text.starts_with("~/"))
        text.replace(0, 1, Platform::Environment::homeDirectory());
    while (text.size() > 1 && text.ends_with('/'))
        text.pop_back();
    return text;
}

Problem checkFolder(const std::string& text) {
    return InputChecks::ofFolder(folderOf(text));
}

/// An answer; the preset one for an empty line.
Platform::Secret answerTo(const char* option, const std::string& question, const std::string& preset,
                          Prompt::Echo echo) {
    const std::string shown = preset.empty() ? "" : " [" + Platform::printable(preset) + "]";
    auto answer = Prompt::ask(question + shown + ": ", echo);
    if (!answer)
        throw Failure(ExitStatus::Usage, std::string("missing: ") + option + " (the input has ended)");
    return answer->text().empty() ? Platform::Secret(preset) : *std::move(answer);
}

/// Asks until the answer is a valid one.
Platform::Secret askFor(const char* option, const std::string& question, const std::string& preset,
                        Problem (*check)(const std::string&), Prompt::Echo echo = Prompt::Echo::On) {
    while (true) {
        auto answer = answerTo(option, question, preset, echo);
        const auto problem = check(answer.text());
        if (!problem)
            return answer;
        printMessage("this " + *problem);
    }
}

/// The host that is built in, unless it is a reserved name (RFC 2606, section 2).
std::string presetHost() {
    auto host = Platform::DeploymentSettings::current().serviceHost;
    return host.ends_with(".example") ? "" : host;
}

/// Whether the account's address and password are needed: somebody is to sign in, or no identifier tells the user.
bool needsAccount(const SetupArguments& arguments, const KnownSettings& known, bool hostChanges) {
    if (arguments.user)
        return false;
    if (arguments.mail || arguments.passwordFile || !known.user)
        return true;
    // The users of one host are unknown to another one.
    return hostChanges && !arguments.computer && !known.computer;
}

/// Whether requests go to another host than that from now on.
bool isAnotherHost(const std::optional<std::string>& host) {
    return host && *host != Platform::DeploymentSettings::current().serviceHost;
}

bool asksForPassword(const SetupArguments& arguments) {
    return !arguments.passwordFile || (*arguments.passwordFile == "-" && Platform::StandardStreams::inputIsTerminal());
}

/// Throws Failure where something is missing that nobody can be asked for.
void requireAnswers(const SetupArguments& arguments, const KnownSettings& known) {
    if (Prompt::isPossible())
        return;
    std::string options;
    const auto require = [&](const char* option, bool isThere) {
        if (!isThere)
            options += (options.empty() ? "" : ", ") + std::string(option);
    };
    require(hostOption, arguments.host || known.host);
    if (needsAccount(arguments, known, isAnotherHost(arguments.host))) {
        require(mailOption, arguments.mail.has_value());
        require(passwordOption, !asksForPassword(arguments));
    }
    require(pathOption, arguments.path || known.path);
    if (!options.empty())
        throw missing(options);
}

} // namespace

SetupPlan makePlan(const SetupArguments& arguments, const KnownSettings& known) {
    requireValid(hostOption, arguments.host, &InputChecks::ofHost);
    requireValid(mailOption, arguments.mail, &InputChecks::ofMail);
    requireValid(pathOption, arguments.path, &checkFolder);
    requireValid("--computer", arguments.computer, &InputChecks::ofIdentifier);
    requireValid("--user", arguments.user, &InputChecks::ofIdentifier);
    requireAnswers(arguments, known);

    const auto valueOr = [](const std::optional<std::string>& given, const std::optional<std::string>& set,
                            const auto& ask) {
        return given ? *given : set ? *set : std::string(ask().text());
    };
    SetupPlan plan;
    plan.user = arguments.user;
    plan.computer = arguments.computer;
    plan.host = valueOr(arguments.host, known.host, [] {
        return askFor(hostOption, "Host of the web service", presetHost(), &InputChecks::ofHost);
    });
    plan.hostChanges = isAnotherHost(plan.host);
    if (needsAccount(arguments, known, plan.hostChanges)) {
        plan.mail = valueOr(arguments.mail, std::nullopt,
                            [] { return askFor(mailOption, "Mail address", "", &InputChecks::ofMail); });
        plan.password = asksForPassword(arguments)
                            ? askFor(passwordOption, "Password", "", &problemOfPassword, Prompt::Echo::Off)
                            : readPassword(*arguments.passwordFile);
    }
    plan.path = folderOf(valueOr(arguments.path, known.path, [] {
        return askFor(pathOption, "Folder that holds the Quenmark folder", Platform::Environment::homeDirectory(),
                      &checkFolder);
    }));
    return plan;
}

} // namespace Tools
