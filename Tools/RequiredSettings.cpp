#include "Tools/RequiredSettings.h"

#include "Platform/Files/Files.h"
#include "Platform/Settings/DeploymentReader.h"
#include "Platform/Settings/Environment.h"
#include "Platform/Settings/Preferences.h"
#include "Platform/Settings/SettingsFile.h"
#include "Platform/Text.h"
#include "Tools/Output.h"
#include "Tools/SharedPreferences.h"

#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace Tools {

namespace Files = Platform::Files;

namespace {

std::optional<std::string> pathProblem(const std::optional<std::string>& path) {
    const std::string key = quenmarkPathKey;
    if (!path)
        return key + " is not set; set it with: quenmark prefs set " + key + " FOLDER";
    return path->starts_with('/') ? std::nullopt : std::optional(key + " is not an absolute path");
}

std::optional<std::string> folderProblem(const std::optional<std::string>& path) {
    if (auto problem = pathProblem(path))
        return problem;
    std::string folder = *path;
    if (Platform::DeploymentSettings::current().mode == Platform::DeploymentSettings::Mode::Compatible &&
        Files::isDirectory(folder))
        folder = Files::appendingPathComponent(folder, quenmarkFolderName);
    if (Files::isDirectory(folder))
        return std::nullopt;
    return "the folder " + folder + " does not exist; mount its disk, or make it with: quenmark prefs set " +
           quenmarkPathKey + " " + *path;
}

} // namespace

Failure settingsFailure(const Platform::Error& error) {
    // An error of a system call has the number of errno(3); any other is about the file's content.
    return {error.domain == "POSIX" ? ExitStatus::InputOutput : ExitStatus::Configuration, error.localizedDescription};
}

std::optional<std::string> preferenceText(const boost::json::object& preferences, std::string_view key) {
    const auto* value = preferences.if_contains(key);
    if (value == nullptr || !value->is_primitive() || value->is_null())
        return std::nullopt;
    std::string text = Platform::text(*value);
    return text.empty() ? std::nullopt : std::optional(std::move(text));
}

boost::json::object sharedPreferences() {
    auto read = Platform::SettingsFile::read(Platform::Preferences::pathOfDomain(sharedDomain));
    if (const auto* error = std::get_if<Platform::Error>(&read))
        throw settingsFailure(*error);
    return std::get<0>(std::move(read)).value_or(boost::json::object());
}

std::optional<boost::json::object> deploymentValues() {
    auto directories = Platform::Environment::configDirectories();
    directories.insert(directories.begin(), Platform::Environment::configHome());
    for (const auto& directory : directories) {
        auto content = Platform::SettingsFile::read(Files::appendingPathComponent(directory, deploymentFile));
        if (const auto* error = std::get_if<Platform::Error>(&content))
            throw settingsFailure(*error);
        if (auto& values = std::get<0>(content))
            return std::move(values);
    }
    return std::nullopt;
}

void requireDeployment() {
    const auto errors = Platform::deploymentErrors();
    if (errors.empty())
        return;
    for (std::size_t index = 0; index + 1 < errors.size(); ++index)
        printMessage(errors[index].localizedDescription);
    throw settingsFailure(errors.back());
}

std::string requireQuenmarkPath() {
    const auto path = preferenceText(sharedPreferences(), quenmarkPathKey);
    if (const auto problem = pathProblem(path))
        throw Failure(ExitStatus::Configuration, *problem);
    return Files::appendingPathComponent(*path, quenmarkFolderName);
}

void requireSettings() {
    requireDeployment();
    const auto known = sharedPreferences();
    std::vector<std::string> problems;
    if (!preferenceText(known, computerIdKey))
        problems.push_back(std::string(computerIdKey) + " is not set; set it with: quenmark prefs set " +
                           computerIdKey + " ID");
    if (auto problem = folderProblem(preferenceText(known, quenmarkPathKey)))
        problems.push_back(*std::move(problem));
    for (const auto& problem : problems)
        printMessage(problem);
    if (!problems.empty())
        throw Failure(ExitStatus::Configuration, "");
}

} // namespace Tools
