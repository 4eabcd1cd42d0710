#include "Platform/Settings/DeploymentReader.h"

#include "Platform/Files/Files.h"
#include "Platform/Json.h"
#include "Platform/Log.h"
#include "Platform/Loop/RunLoop.h"
#include "Platform/Network/HostAndPort.h"
#include "Platform/Settings/Environment.h"
#include "Platform/Text.h"
#include "Product.h"

#include <boost/json/value.hpp>

#include <cmath>
#include <string_view>
#include <utility>
#include <variant>

namespace Platform {

namespace {

bool isAbsolutePath(const boost::json::value& value) {
    const auto* path = value.if_string();
    return path != nullptr && path->starts_with('/') && path->find('\0') == boost::json::string::npos;
}

std::string lowercased(std::string_view text) {
    std::string lower(text);
    for (char& c : lower)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c;
    return lower;
}

bool isHost(std::string_view text) {
    const auto parts = HostAndPort::split(text);
    return parts && parts->isValid();
}

/// What is wrong with a member: what it should be, what follows for the service, and what it is.
struct Problem {
    std::string what;
    std::string consequence;
    std::string value;
};

/// What is read from a file, and what is wrong with it.
struct Reading {
    DeploymentSettings settings;
    /// How many files were tried; the remaining ones have no effect.
    std::size_t files = 0;
    std::vector<Problem> problems;

    void refuse(const std::string& path, const char* key, const boost::json::value& value, const char* wanted) {
        addProblem(path, key, value, wanted, " and counts as absent");
    }
    void addProblem(const std::string& path, const char* key, const boost::json::value& value, const char* wanted,
                    const char* consequence) {
        problems.push_back({path + ": \"" + key + "\" is not " + wanted, consequence, text(value)});
    }
};

void takeServiceHost(const boost::json::object& values, const std::string& path, Reading& reading) {
    const auto* value = values.if_contains("serviceHost");
    if (value == nullptr)
        return;
    if (!value->is_string() || !isHost(value->get_string()))
        return reading.refuse(path, "serviceHost", *value, "a host with an optional port");
    reading.settings.serviceHost = value->get_string();
}

void takeServiceScheme(const boost::json::object& values, const std::string& path, Reading& reading) {
    const auto* value = values.if_contains("serviceScheme");
    if (value == nullptr)
        return;
    const auto scheme = value->is_string() ? lowercased(value->get_string()) : std::string();
    if (scheme == "http" || scheme == "https") {
        reading.settings.serviceScheme = scheme;
    } else {
        reading.settings.serviceHost.clear();
        reading.addProblem(path, "serviceScheme", *value, R"("http" or "https")", "; nothing is sent");
    }
}

void takeCertificateAuthorities(const boost::json::object& values, const std::string& path, Reading& reading) {
    const auto* value = values.if_contains("certificateAuthorities");
    if (value == nullptr)
        return;
    if (isAbsolutePath(*value)) {
        reading.settings.certificateAuthorities = std::string(value->get_string());
    } else {
        reading.settings.serviceHost.clear();
        reading.addProblem(path, "certificateAuthorities", *value, "an absolute path", "; nothing is sent");
    }
}

void takeVersion(const boost::json::object& values, const std::string& path, Reading& reading) {
    const auto* value = values.if_contains("appKitVersionNumber");
    if (value == nullptr)
        return;
    if (!value->is_number() || !std::isfinite(value->to_number<double>()))
        return reading.refuse(path, "appKitVersionNumber", *value, "a number");
    reading.settings.appKitVersionNumber = value->to_number<double>();
}

void takeMode(const boost::json::object& values, const std::string& path, Reading& reading) {
    const auto* value = values.if_contains("mode");
    if (value == nullptr)
        return;
    const auto* name = value->if_string();
    if (name == nullptr || (*name != "compatible" && *name != "managed"))
        return reading.refuse(path, "mode", *value, R"("compatible" or "managed")");
    reading.settings.mode =
        *name == "managed" ? DeploymentSettings::Mode::Managed : DeploymentSettings::Mode::Compatible;
}

void takeStagingDirectory(const boost::json::object& values, const std::string& path, Reading& reading) {
    const auto* value = values.if_contains("stagingDirectory");
    if (value == nullptr)
        return;
    if (!isAbsolutePath(*value))
        return reading.refuse(path, "stagingDirectory", *value, "an absolute path");
    reading.settings.stagingDirectory = std::string(value->get_string());
}

void takeAll(const boost::json::object& values, const std::string& path, Reading& reading) {
    takeServiceHost(values, path, reading);
    takeServiceScheme(values, path, reading);
    takeCertificateAuthorities(values, path, reading);
    takeVersion(values, path, reading);
    takeMode(values, path, reading);
    takeStagingDirectory(values, path, reading);
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
            takeAll(*values, path, reading);
            break;
        }
    }
    return reading;
}

} // namespace

std::vector<Error> deploymentErrors() {
    for (const auto& path : settingsFiles()) {
        const auto content = SettingsFile::read(path);
        if (const auto* error = std::get_if<Error>(&content))
            return {*error};
        const auto& values = std::get<0>(content);
        if (!values)
            continue;
        Reading reading;
        takeAll(*values, path, reading);
        std::vector<Error> errors;
        for (const auto& [what, consequence, value] : reading.problems)
            errors.push_back({Json::errorDomain, Json::errorCode, what + ": " + value});
        return errors;
    }
    return {};
}

DeploymentSettings DeploymentReader::current() {
    const std::lock_guard guard(lock_);
    const auto turn = RunLoop::currentTurn();
    if (turn && turn == lastCheckedTurn_)
        return settings_.value_or(DeploymentSettings{});
    lastCheckedTurn_ = turn;
    if (paths_.empty())
        paths_ = settingsFiles();
    if (!known_ || !known_->areSettled || haveFilesChanged())
        read();
    return settings_.value_or(DeploymentSettings{});
}

DeploymentReader::FileStates DeploymentReader::statesOfFiles(std::size_t count) const {
    FileStates found;
    found.states.reserve(count);
    for (std::size_t index = 0; index < count; ++index) {
        found.states.push_back(SettingsFile::stateOf(paths_[index]));
        found.areSettled = found.areSettled && SettingsFile::isSettled(found.states.back());
    }
    return found;
}

bool DeploymentReader::haveFilesChanged() const {
    return known_->states != statesOfFiles(known_->states.size()).states;
}

void DeploymentReader::read() {
    FileStates found = statesOfFiles(paths_.size());
    auto result = readSettings(paths_);
    if (const auto* reading = std::get_if<Reading>(&result))
        found.states.resize(reading->files);
    const bool isNew = !known_ || known_->states != found.states;
    known_ = std::move(found);
    if (const auto* failure = std::get_if<1>(&result)) {
        known_->areSettled = false;
        const char* consequence = settings_ ? "the deployment settings stay as they are: "
                                            : "the deployment settings are not known, and no request can be sent: ";
        SettingsFile::logOnce(failure->first, "A settings file cannot be read; " +
                                                  (consequence + failure->second.localizedDescription));
        return;
    }
    auto [settings, files, problems] = std::get<0>(std::move(result));
    std::vector<std::string> entries;
    for (const auto& [what, consequence, value] : problems)
        entries.push_back(what + consequence + ": " + value);
    if (isNew || entries != logged_) {
        for (const auto& entry : entries)
            Log::write(entry, Log::Priority::Error);
    }
    logged_ = std::move(entries);
    // The service chooses its front end and its mode once, when it starts.
    if (settings_) {
        settings.appKitVersionNumber = settings_->appKitVersionNumber;
        settings.mode = settings_->mode;
    }
    settings_ = std::move(settings);
}

} // namespace Platform
