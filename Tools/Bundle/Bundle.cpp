#include "Tools/Bundle/Bundle.h"

#include "Platform/Json.h"
#include "Platform/Printable.h"
#include "Platform/Settings/DeploymentSettings.h"
#include "Platform/Settings/Environment.h"
#include "Platform/Text.h"
#include "Tools/Doctor/CheckTable.h"
#include "Tools/Output.h"
#include "Tools/SharedPreferences.h"
#include "Tools/Status/StatusJson.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace Tools {

namespace Environment = Platform::Environment;

namespace {

constexpr const char* folderOfBundle = "quenmark-bundle/";
constexpr const char* removedValue = "[value]";
/// A shorter word identifies nobody, and occurs in too many places.
constexpr std::size_t shortestUnknown = 4;
/// Members of deployment.json, whose values are shown.
constexpr std::array deploymentKeys{std::string_view("serviceHost"),
                                    std::string_view("serviceScheme"),
                                    std::string_view("certificateAuthorities"),
                                    std::string_view("appKitVersionNumber"),
                                    std::string_view("mode"),
                                    std::string_view("stagingDirectory")};

/// Adds every text and number in the value.
void addSecretsIn(const boost::json::value& value, const std::string& label, std::size_t shortest, Redactor& redactor) {
    if (const auto* array = value.if_array()) {
        for (const auto& member : *array)
            addSecretsIn(member, label, shortest, redactor);
    } else if (const auto* object = value.if_object()) {
        for (const auto& [key, member] : *object)
            addSecretsIn(member, label, shortest, redactor);
    } else if (value.is_string() || value.is_number()) {
        const std::string text = Platform::text(value);
        if (text.size() >= shortest)
            redactor.addSecret(text, label);
    }
}

void addPreferences(const boost::json::object& preferences, Redactor& redactor) {
    for (const auto& [key, value] : preferences) {
        const bool isIdentifier = key == computerIdKey || key == userIdKey || key == "PENDING_UPLOAD_IDS";
        // The path is shown, from the home directory on.
        if (key != quenmarkPathKey)
            addSecretsIn(value, isIdentifier ? std::string(key) : "preference", isIdentifier ? 1 : shortestUnknown,
                         redactor);
    }
}

void addItem(const std::string& name, Redactor& redactor) {
    std::string local = name;
    std::ranges::replace(local, '\\', '/');
    redactor.addSecret(name, "name");
    redactor.addSecret(local, "name");
    const auto last = std::string_view(local).substr(local.rfind('/') + 1);
    if (last.size() >= shortestUnknown)
        redactor.addSecret(last, "name");
}

boost::json::object withoutPreferences(const boost::json::object& preferences, const Redactor& redactor) {
    boost::json::object result;
    for (const auto& [key, value] : preferences)
        result.emplace(key,
                       key == quenmarkPathKey ? redactor.withRedactedStrings(value) : boost::json::value(removedValue));
    return result;
}

boost::json::object withoutUnknownValues(const boost::json::object& deployment, const Redactor& redactor) {
    boost::json::object result;
    for (const auto& [key, value] : deployment) {
        const bool isKnown = std::ranges::find(deploymentKeys, std::string_view(key)) != deploymentKeys.end();
        result.emplace(key, isKnown ? redactor.withRedactedStrings(value) : boost::json::value(removedValue));
    }
    return result;
}

std::string jsonText(const boost::json::value& value) {
    auto written = Platform::Json::prettyPrinted(value);
    if (const auto* error = std::get_if<Platform::Error>(&written))
        throw Failure(ExitStatus::DataError, error->localizedDescription);
    return std::get<std::string>(written) + "\n";
}

std::vector<Check> redactedChecks(std::vector<Check> checks, const Redactor& redactor) {
    for (auto& check : checks) {
        check.detail = redactor.redacted(check.detail);
        check.advice = redactor.redacted(check.advice);
    }
    return checks;
}

std::string logText(const std::variant<std::vector<std::string>, std::string>& log, const Redactor& redactor) {
    if (const auto* reason = std::get_if<std::string>(&log))
        return "There is no log: " + Platform::printable(redactor.redacted(*reason)) + "\n";
    std::vector<std::string> lines;
    for (const auto& entry : std::get<0>(log)) {
        std::string text = Platform::printableLines(redactor.redacted(entry)) + "\n";
        for (std::size_t at = 0; at < text.size();) {
            const auto end = text.find('\n', at) + 1;
            lines.push_back(text.substr(at, end - at));
            at = end;
        }
    }
    std::string result;
    for (std::size_t index = lines.size() - std::min(lines.size(), maxLogLines); index < lines.size(); ++index)
        result += lines[index];
    return result.empty() ? "The journal has no entry of the service.\n" : result;
}

} // namespace

Redactor redactorFor(const BundleParts& parts) {
    Redactor redactor;
    redactor.setHome(Environment::homeDirectory());
    addPreferences(parts.settings.preferences, redactor);
    addPreferences(parts.settings.ownPreferences, redactor);
    if (parts.status) {
        for (const auto& engine : parts.status->engines) {
            addItem(engine.item, redactor);
            addItem(engine.lastItem.value_or(""), redactor);
            addItem(engine.lastLostItem.value_or(""), redactor);
        }
    }
    if (const auto user = Environment::userName(); user != "root")
        redactor.addSecret(user, "user");
    return redactor;
}

std::vector<ArchivedFile> bundleFiles(const BundleParts& parts, const Redactor& redactor) {
    const auto checks = redactedChecks(parts.checks, redactor);
    const boost::json::object settings{{"preferences", withoutPreferences(parts.settings.preferences, redactor)},
                                       {"ownPreferences", withoutPreferences(parts.settings.ownPreferences, redactor)},
                                       {"deployment", withoutUnknownValues(parts.settings.deployment, redactor)}};
    // They describe programs alone; a short identifier may be part of a version.
    std::string versions;
    for (const auto& [name, version] : parts.versions)
        versions += name + ": " + Platform::printable(version) + "\n";
    const std::string folder = folderOfBundle;
    return {{folder + "doctor.txt", checkTable(checks, false, std::nullopt)},
            {folder + "doctor.json", jsonText(checksJson(checks))},
            {folder + "status.json", jsonText(redactor.withRedactedStrings(statusJson(parts.status)))},
            {folder + "settings.json", jsonText(settings)},
            {folder + "versions.txt", versions},
            {folder + "log.txt", logText(parts.log, redactor)}};
}

} // namespace Tools
