#include "Tools/Doctor/SettingsChecks.h"

#include "Platform/Ascii.h"
#include "Platform/Files/Files.h"
#include "Platform/Settings/DeploymentReader.h"
#include "Platform/Settings/Environment.h"
#include "Platform/Settings/Preferences.h"
#include "Platform/Settings/SettingsFile.h"
#include "Platform/Text.h"
#include "Tools/RequiredSettings.h"
#include "Tools/SharedPreferences.h"
#include "Tools/Status/Advice.h"

#include <boost/json/serialize.hpp>

#include <algorithm>
#include <charconv>
#include <utility>
#include <variant>

namespace Tools {

namespace Files = Platform::Files;
namespace SettingsFile = Platform::SettingsFile;

namespace {

constexpr const char* adviceOnFile = "Correct it, or remove it and run: quenmark setup";

/// A file of settings: its values, nil where there is none.
struct ReadFile {
    std::string path;
    std::optional<boost::json::object> values;
};

/// What is wrong with a file, with the line behind the byte where there is one.
std::string placeOf(const std::string& path, const std::string& description) {
    constexpr std::string_view byByte = " at byte ";
    const auto place = description.rfind(byByte);
    std::size_t byte = 0;
    const auto* const end = description.data() + description.size();
    if (place == std::string::npos || std::from_chars(description.data() + place + byByte.size(), end, byte).ptr != end)
        return shown(description);
    const auto content = Files::contents(path, SettingsFile::maximumSize);
    const auto* text = std::get_if<std::string>(&content);
    if (text == nullptr)
        return shown(description);
    const auto* const error = text->data() + std::min(byte, text->size());
    return shown(description) + " (line " + std::to_string(std::count(text->data(), error, '\n') + 1) + ")";
}

/// Reads a file; a check of that name where it cannot be read or is malformed.
std::variant<ReadFile, Check> readFile(const std::string& check, const std::string& path) {
    auto read = SettingsFile::read(path);
    if (const auto* error = std::get_if<Platform::Error>(&read))
        return failureCheck(check, placeOf(path, error->localizedDescription), adviceOnFile);
    return ReadFile{path, std::get<0>(std::move(read))};
}

Check preferenceCheck(const ReadFile& file, const char* key, CheckState whereMissing, const char* consequence) {
    if (const auto text = preferenceText(*file.values, key))
        return okCheck(key, shown(*text) + ", from " + shown(file.path));
    return {key, whereMissing, std::string("is not set, so that ") + consequence,
            "Run: quenmark setup; or: quenmark prefs set " + std::string(key) + " VALUE"};
}

void examinePreferences(SettingsFindings& findings) {
    auto read = readFile("preferences", Platform::Preferences::pathOfDomain(sharedDomain));
    if (auto* check = std::get_if<Check>(&read))
        return findings.checks.push_back(*std::move(check));
    auto& file = std::get<ReadFile>(read);
    findings.checks.push_back(okCheck("preferences", shown(file.path) + (file.values ? "" : ", which does not exist")));
    file.values = std::move(file.values).value_or(boost::json::object());
    findings.checks.push_back(preferenceCheck(file, computerIdKey, CheckState::Failure, "nothing is asked for"));
    findings.checks.push_back(
        preferenceCheck(file, userIdKey, CheckState::Warning, "the web service is not told whose items these are"));
    findings.checks.push_back(
        preferenceCheck(file, quenmarkPathKey, CheckState::Failure, "items have no place to go to"));
    findings.quenmarkPath = preferenceText(*file.values, quenmarkPathKey);
}

/// A member of the deployment settings: the value that the service uses, and the one that is built in.
struct DeployedValue {
    const char* key;
    std::optional<boost::json::value> used;
    /// What a person reads where it is not in a file.
    std::string builtIn;
    /// What it is where a file's value is not accepted, and what follows from that; "" where the value built in counts.
    CheckState whereRefused = CheckState::Warning;
    std::string consequence = {};
};

constexpr const char* nothingIsSent = "nothing is sent";

std::vector<DeployedValue> deployedValues(const Platform::DeploymentSettings& settings) {
    using boost::json::value;
    const std::string mode = settings.mode == Platform::DeploymentSettings::Mode::Managed ? "managed" : "compatible";
    const auto textIfAny = [](const std::optional<std::string>& text) {
        return text ? std::optional<value>(*text) : std::nullopt;
    };
    const double release = settings.appKitVersionNumber;
    const auto& scheme = settings.serviceScheme;
    return {{"serviceHost", value(settings.serviceHost), settings.serviceHost, CheckState::Failure},
            {"serviceScheme", value(scheme), scheme, CheckState::Failure, nothingIsSent},
            {"certificateAuthorities", textIfAny(settings.certificateAuthorities), "the system's", CheckState::Failure,
             nothingIsSent},
            {"mode", value(mode), mode},
            {"appKitVersionNumber", value(release), Platform::text(value(release))},
            {"stagingDirectory", textIfAny(settings.stagingDirectory), "the home directory"}};
}

bool isSame(const boost::json::value& one, const boost::json::value& other) {
    if (one.is_number() && other.is_number())
        return one.to_number<double>() == other.to_number<double>();
    return one == other;
}

Check deployedCheck(const DeployedValue& value, const ReadFile& file) {
    const auto* given = file.values ? file.values->if_contains(value.key) : nullptr;
    if (given == nullptr)
        return okCheck(value.key, shown(value.builtIn) + ", built in");
    // The scheme is the only value that is normalised: to lower case.
    const bool isScheme = value.key == std::string_view("serviceScheme") && given->is_string();
    const auto meant = isScheme ? boost::json::value(Platform::lowerCase(given->get_string())) : *given;
    if (value.used && isSame(meant, *value.used))
        return okCheck(value.key, shown(Platform::text(*given)) + ", from " + shown(file.path));
    return {value.key, value.whereRefused,
            shown(boost::json::serialize(*given)) + " of " + shown(file.path) + " is not valid; " +
                (value.consequence.empty() ? shown(value.builtIn) + " counts" : value.consequence),
            "Correct it"};
}

/// The members that nothing reads: mistyped ones, or those of another version.
std::optional<Check> unknownMembersCheck(const std::vector<DeployedValue>& known, const ReadFile& file) {
    std::string names;
    for (const auto& [name, value] : file.values.value_or(boost::json::object())) {
        const std::string_view key(name.data(), name.size());
        if (std::ranges::none_of(known, [&](const DeployedValue& one) { return one.key == key; }))
            names += (names.empty() ? "" : ", ") + boost::json::serialize(boost::json::value(name));
    }
    if (names.empty())
        return std::nullopt;
    return warningCheck("unknown members", "nothing reads " + shown(names) + " of " + shown(file.path),
                        "Correct or remove what is mistyped or of another version");
}

/// The file that the deployment settings come from, the most important one that is there.
std::variant<ReadFile, Check> deploymentFileInUse() {
    auto directories = Platform::Environment::configDirectories();
    directories.insert(directories.begin(), Platform::Environment::configHome());
    for (const auto& directory : directories) {
        auto read = readFile("deployment.json", Files::appendingPathComponent(directory, "quenmark/deployment.json"));
        const auto* file = std::get_if<ReadFile>(&read);
        if (file == nullptr || file->values)
            return read;
    }
    return ReadFile();
}

void examineDeployment(SettingsFindings& findings) {
    findings.deployment = Platform::DeploymentReader().current();
    const auto read = deploymentFileInUse();
    if (const auto* check = std::get_if<Check>(&read))
        return findings.checks.push_back(*check);
    const auto& file = std::get<ReadFile>(read);
    findings.deploymentFile = file.path;
    findings.checks.push_back(
        okCheck("deployment.json", file.values ? shown(file.path) : "there is none; the values built in count"));
    const auto known = deployedValues(findings.deployment);
    for (const auto& value : known) {
        // An invalid member elsewhere leaves the host empty, so that nothing is sent.
        if (value.key == std::string_view("serviceHost") && findings.deployment.serviceHost.empty())
            continue;
        findings.checks.push_back(deployedCheck(value, file));
    }
    if (auto check = unknownMembersCheck(known, file))
        findings.checks.push_back(*std::move(check));
}

} // namespace

SettingsFindings examineSettings() {
    SettingsFindings findings;
    examinePreferences(findings);
    examineDeployment(findings);
    return findings;
}

} // namespace Tools
