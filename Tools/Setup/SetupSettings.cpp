#include "Tools/Setup/SetupSettings.h"

#include "Platform/Files/Files.h"
#include "Platform/Settings/Environment.h"
#include "Platform/Settings/Preferences.h"
#include "Platform/Settings/SettingsFile.h"
#include "Tools/RequiredSettings.h"
#include "Tools/Sandbox.h"
#include "Tools/Setup/InputChecks.h"
#include "Tools/SharedPreferences.h"

#include <boost/json/object.hpp>

#include <cerrno>
#include <utility>
#include <variant>

namespace Tools {

namespace Files = Platform::Files;
namespace SettingsFile = Platform::SettingsFile;

namespace {

constexpr const char* hostMember = "serviceHost";
constexpr const char* modeMember = "mode";

std::optional<std::string> hostOf(const std::optional<boost::json::object>& deployment) {
    const auto* value = deployment ? deployment->if_contains(hostMember) : nullptr;
    if (value == nullptr || !value->is_string())
        return std::nullopt;
    std::string host(value->get_string());
    return InputChecks::ofHost(host) ? std::nullopt : std::optional(std::move(host));
}

/// A file's content, to be put back.
class FileBefore {
public:
    /// Throws Failure where the file cannot be read.
    explicit FileBefore(std::string path) : path_(std::move(path)) {
        auto content = Files::contents(path_, SettingsFile::maximumSize);
        const auto* error = std::get_if<Platform::Error>(&content);
        if (error != nullptr && error->code != ENOENT)
            throw settingsFailure(*error);
        if (error == nullptr)
            content_ = std::get<std::string>(std::move(content));
    }

    const std::string& path() const { return path_; }
    const std::optional<std::string>& content() const { return content_; }

    std::optional<Platform::Error> putBack() const {
        if (!content_ && !Files::exists(path_))
            return std::nullopt;
        return content_ ? Files::writeAtomically(path_, *content_) : Files::removeItem(path_);
    }

private:
    std::string path_;
    /// Nil where there is no file.
    std::optional<std::string> content_;
};

std::optional<Platform::Error> writeDeployment(const std::string& path, const std::string& host) {
    const auto found = deploymentValues();
    return SettingsFile::change(path, [&](boost::json::object& values) {
        if (values.empty() && found)
            values = *found;
        values.insert_or_assign(hostMember, host);
        values.insert_or_assign(modeMember, "managed");
        return values != found;
    });
}

} // namespace

KnownSettings knownSettings() {
    const auto preferences = sharedPreferences();
    // One that no option may have counts as not set.
    const auto valid = [&](const char* key, const auto& problemOf) {
        auto text = preferenceText(preferences, key);
        return text && !problemOf(*text) ? std::move(text) : std::nullopt;
    };
    return {.host = hostOf(deploymentValues()),
            .computer = valid(computerIdKey, &InputChecks::ofIdentifier),
            .user = valid(userIdKey, &InputChecks::ofIdentifier),
            .path = valid(quenmarkPathKey, &InputChecks::ofFolder)};
}

bool writeSettings(const NewSettings& settings) {
    const FileBefore deployment(Files::appendingPathComponent(Platform::Environment::configHome(), deploymentFile));
    const FileBefore dropIn(Sandbox::dropIn());
    if (const auto error = writeDeployment(deployment.path(), settings.host))
        throw settingsFailure(*error);
    const auto sandbox = Sandbox::textFor(settings.path);
    const bool changesSandbox = dropIn.content() != sandbox;
    auto error = changesSandbox ? Files::writeAtomically(dropIn.path(), sandbox) : std::nullopt;
    if (!error)
        error = Platform::Preferences::setObjects(
            sharedDomain,
            {{computerIdKey, settings.computer}, {userIdKey, settings.user}, {quenmarkPathKey, settings.path}});
    if (!error)
        return changesSandbox;
    auto failure = settingsFailure(*error);
    for (const auto* file : {&deployment, &dropIn}) {
        if (const auto second = file->putBack())
            failure = Failure(failure.status(), failure.what() + ("; " + second->localizedDescription));
    }
    throw Failure(failure);
}

} // namespace Tools
