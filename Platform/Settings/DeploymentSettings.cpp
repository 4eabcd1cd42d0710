#include "Platform/Settings/DeploymentSettings.h"

#include "Platform/Files/Files.h"
#include "Platform/Log.h"
#include "Platform/Loop/RunLoop.h"
#include "Platform/Network/HostAndPort.h"
#include "Platform/Settings/Environment.h"
#include "Platform/Settings/SettingsFile.h"
#include "Platform/Text.h"
#include "Product.h"

#include <boost/json/value.hpp>

#include <cmath>
#include <cstdint>
#include <ctime>
#include <mutex>
#include <span>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace Platform {

namespace {

/// The parts of a service host; nil where it is none.
std::optional<HostAndPort> parseHost(std::string_view text) {
    const auto parts = HostAndPort::split(text);
    return parts && parts->isValid() ? parts : std::nullopt;
}

/// What is read from a file, and what is wrong with it.
struct Reading {
    DeploymentSettings settings;
    /// How many files were looked at: what the others hold does not matter.
    std::size_t files = 0;
    std::vector<std::string> complaints;

    void refuse(const std::string& path, const char* key, const boost::json::value& value, const char* wanted) {
        complaints.push_back(path + ": \"" + key + "\" is not " + wanted + " and counts as absent: " + text(value));
    }
};

void takeServiceHost(const boost::json::object& values, const std::string& path, Reading& reading) {
    const auto* value = values.if_contains("serviceHost");
    if (value == nullptr)
        return;
    if (!value->is_string() || !parseHost(std::string_view(value->get_string())))
        return reading.refuse(path, "serviceHost", *value, "a host with an optional port");
    reading.settings.serviceHost = value->get_string();
}

void takeVersion(const boost::json::object& values, const std::string& path, Reading& reading) {
    const auto* value = values.if_contains("appKitVersionNumber");
    if (value == nullptr)
        return;
    if (!value->is_number() || !std::isfinite(value->to_number<double>()))
        return reading.refuse(path, "appKitVersionNumber", *value, "a number");
    reading.settings.appKitVersionNumber = value->to_number<double>();
}

void takeStagingDirectory(const boost::json::object& values, const std::string& path, Reading& reading) {
    const auto* value = values.if_contains("stagingDirectory");
    if (value == nullptr)
        return;
    const auto* directory = value->if_string();
    if (directory == nullptr || !directory->starts_with('/') || directory->find('\0') != boost::json::string::npos)
        return reading.refuse(path, "stagingDirectory", *value, "an absolute path");
    reading.settings.stagingDirectory = *directory;
}

/// The files that may hold the settings, the most important first.
std::vector<std::string> settingsFiles() {
    auto directories = Environment::configDirectories();
    directories.insert(directories.begin(), Environment::configHome());
    std::vector<std::string> paths;
    for (const auto& directory : directories) {
        const std::string folder = Files::appendingPathComponent(directory, Product::directoryName);
        paths.push_back(Files::appendingPathComponent(folder, "deployment.json"));
    }
    return paths;
}

/// The settings of the first file that is an object; those built in where there is none. The error of a file that
/// cannot be read now, since what it holds would go before the others.
std::variant<Reading, std::pair<std::string, Error>> readSettings(const std::vector<std::string>& paths) {
    Reading reading;
    reading.settings.serviceHost = Product::serviceHost;
    for (const auto& path : paths) {
        ++reading.files;
        const auto content = SettingsFile::read(path);
        if (const auto* error = std::get_if<Error>(&content)) {
            if (SettingsFile::isFailureToRead(*error))
                return std::pair(path, *error);
            SettingsFile::logOnce(path, "A settings file counts as absent: " + error->localizedDescription);
            continue;
        }
        SettingsFile::forget(path);
        if (const auto& values = std::get<0>(content)) {
            takeServiceHost(*values, path, reading);
            takeVersion(*values, path, reading);
            takeStagingDirectory(*values, path, reading);
            break;
        }
    }
    return reading;
}

/// The states of the files at some time, by which a change shows.
struct FileStates {
    std::vector<SettingsFile::State> states;
    /// Whether every change after this time shows.
    bool areSettled = true;

    explicit FileStates(std::span<const std::string> paths) {
        states.reserve(paths.size());
        for (const auto& path : paths) {
            states.push_back(SettingsFile::stateOf(path));
            areSettled = areSettled && SettingsFile::isSettled(states.back());
        }
    }
    bool isSameAs(const FileStates& other) const { return states == other.states; }
};

/// The settings of this process, which any thread may ask for.
class ProcessSettings {
public:
    DeploymentSettings current() {
        const std::lock_guard guard(lock_);
        if (replacement_)
            return *replacement_;
        const auto turn = RunLoop::currentTurn();
        if (turn && turn == turnOfLook_)
            return settings_.value_or(DeploymentSettings{});
        turnOfLook_ = turn;
        if (paths_.empty())
            paths_ = settingsFiles();
        if (!known_ || !known_->areSettled || hasChanged(*known_))
            read();
        return settings_.value_or(DeploymentSettings{});
    }

    void replace(std::optional<DeploymentSettings> settings) {
        const std::lock_guard guard(lock_);
        replacement_ = std::move(settings);
        settings_.reset();
        known_.reset();
        turnOfLook_.reset();
        paths_.clear();
    }

private:
    bool hasChanged(const FileStates& known) const {
        return !known.isSameAs(FileStates(std::span(paths_).first(known.states.size())));
    }

    void read() {
        FileStates found(paths_);
        auto result = readSettings(paths_);
        if (const auto* reading = std::get_if<Reading>(&result))
            found.states.resize(reading->files);
        const bool isNew = !known_ || !known_->isSameAs(found);
        known_ = std::move(found);
        if (const auto* failure = std::get_if<1>(&result)) {
            known_->areSettled = false;
            const char* consequence = settings_ ? "the deployment settings stay as they are: "
                                                : "the deployment settings are not known, and no request can be sent: ";
            SettingsFile::logOnce(failure->first, "A settings file cannot be read; " +
                                                      (consequence + failure->second.localizedDescription));
            return;
        }
        auto [settings, files, complaints] = std::get<0>(std::move(result));
        if (isNew || complaints != complaints_) {
            for (const auto& complaint : complaints)
                Log::write(complaint, Log::Priority::Error);
        }
        complaints_ = std::move(complaints);
        // The front end is chosen by it once, when the service starts.
        if (settings_)
            settings.appKitVersionNumber = settings_->appKitVersionNumber;
        settings_ = std::move(settings);
    }

    std::mutex lock_;
    std::optional<DeploymentSettings> replacement_;
    /// What was read last; nil before the first success.
    std::optional<DeploymentSettings> settings_;
    /// The files that may hold the settings; a process's environment does not change. Empty before the first use.
    std::vector<std::string> paths_;
    /// The states of the files that were read last; nil before.
    std::optional<FileStates> known_;
    /// The turn of the loop in which the files were looked at last. One look serves the whole turn, in which an idle
    /// pass asks several times; a change is seen in the next.
    std::optional<std::uint64_t> turnOfLook_;
    std::vector<std::string> complaints_;
};

ProcessSettings& processSettings() {
    static ProcessSettings settings;
    return settings;
}

} // namespace

DeploymentSettings DeploymentSettings::current() {
    return processSettings().current();
}

void DeploymentSettings::replace(std::optional<DeploymentSettings> settings) {
    processSettings().replace(std::move(settings));
}

bool DeploymentSettings::hostIsLoopback() const {
    const auto host = parseHost(serviceHost);
    return host && host->isLoopback();
}

} // namespace Platform
