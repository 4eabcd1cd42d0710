#pragma once

#include "Platform/Loop/Clock.h"
#include "Platform/Loop/RunLoop.h"
#include "Platform/Settings/DeploymentSettings.h"
#include "Support/HttpServer.h"
#include "Support/LogCapture.h"
#include "Support/Releases.h"
#include "Support/ScopedEnvironment.h"
#include "Support/TemporaryHome.h"
#include "TopFileUploadXpcService/TopFileUploadXpcService.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Quenmark {

using TestSupport::release10_10;
using TestSupport::release10_7;

/// What an engine keeps to itself, for its tests.
class EngineProbe {
public:
    explicit EngineProbe(TopFileUploadXpcService& engine) : probed_(engine) {}

    bool gateIsOpen() const { return probed_.isGateOpen(); }
    void setGate(bool open) { probed_.downloadStatus_ = open; }
    const std::optional<std::string>& returnStatus() const { return probed_.returnStatus_; }
    void setReturnStatus(std::optional<std::string> status) { probed_.returnStatus_ = std::move(status); }
    const std::optional<std::string>& isFile() const { return probed_.item_.isFile; }
    const std::optional<std::string>& fileName() const { return probed_.item_.fileName; }
    const std::optional<std::string>& fileUploadID() const { return probed_.item_.fileUploadID; }
    const std::optional<std::string>& serverPath() const { return probed_.item_.serverPath; }
    const std::optional<std::string>& toComputerID() const { return probed_.item_.toComputerID; }
    const std::optional<std::string>& transitUploadPath() const { return probed_.item_.transitUploadPath; }
    const std::optional<std::string>& uploadProcessed() const { return probed_.item_.uploadProcessed; }
    const std::optional<std::string>& filePath() const { return probed_.filePath_; }
    const std::optional<std::string>& tempFilePath() const { return probed_.tempFilePath_; }
    const std::optional<std::string>& fileLength() const { return probed_.fileLength_; }
    /// How many operations of its queue may run at once; nil before there is a queue.
    std::optional<int> operationLimit() const {
        return probed_.operationQueue_ ? std::optional(probed_.operationQueue_->maxConcurrentOperationCount)
                                       : std::nullopt;
    }
    std::optional<Platform::Queue> operationQueue() const {
        return probed_.operationQueue_ ? std::optional(probed_.operationQueue_->queue) : std::nullopt;
    }
    const std::optional<boost::json::object>& iAppsPrefs() const { return probed_.iAppsPrefs_; }
    const std::optional<boost::json::array>& pendingUploadIDs() const { return probed_.pendingUploadIDArray_; }

private:
    TopFileUploadXpcService& probed_;
};

/// An engine with a web server of scripted responses, folders of its own, and a clock that the test moves.
class EngineFixture : public ::testing::Test {
protected:
    static constexpr const char* pollTarget = "/QuenmarkRestService/Uploads.svc/GetTopFileUpload";
    static constexpr const char* streamTarget = "/QuenmarkRestService/Uploads.svc/GetTopFileUploadWithStream";
    static constexpr const char* acknowledgeTarget = "/QuenmarkRestService/Uploads.svc/UpdateFileUpload";
    static constexpr const char* logErrorTarget = "/QuenmarkRestService/MAC/ErrorLog.svc/LogError";
    static constexpr const char* nothing = R"({"ReturnStatus":"1"})";

    EngineFixture();

    void setRelease(double release) { settings.appKitVersionNumber = release; }
    /// Writes the shared preferences anew: a JSON text.
    void setPreferences(std::string_view json) { home.setPreferences(json); }
    /// The preferences that a test has unless it sets others.
    std::string usualPreferences() const { return home.preferencesFor(home.path()); }

    /// Starts the engine as the desktop application does.
    void start() { engine->GetTopFileUpload(); }
    bool runUntil(const std::function<bool()>& condition) { return loop.runUntil(condition); }
    /// Moves the clock to the next pass, and lets that pass run.
    void nextPass();
    /// How many requests came for `target`.
    std::size_t count(std::string_view target) const;
    bool waitFor(std::string_view target, std::size_t count = 1);
    const TestSupport::HttpRequest& last(std::string_view target) const;
    /// The number of passes so far that asked the server.
    std::size_t questions() const { return log.count("Connection available... "); }
    /// Whether the log says that an attempt has failed for that reason, and that the next one follows after that wait
    /// in seconds.
    bool hasFailed(const std::string& reason, int wait) const { return countOfFailures(reason, wait) > 0; }
    std::size_t countOfFailures(const std::string& reason, int wait) const;
    /// Asserts that three more passes ask nothing.
    void expectStalled();

    /// The poll response that announces the file or folder `name`, which is written as in JSON.
    static std::string item(std::string_view name, std::string_view isFile = "True");
    /// The header fields of a good stream of the file `name`.
    static TestSupport::Headers streamHeaders(std::string_view name, std::string_view isFile = "True");
    /// Scripts one poll response, its stream and its acknowledgement.
    void enqueueFile(std::string_view jsonName, std::string_view name, std::string_view content);

    /// Starts the engine on the file "\Docs\a.txt" whose stream is `reply`, and lets the stream be asked for.
    void startStream(TestSupport::HttpReply reply);

    /// Whether nobody has claimed the file of that name.
    bool isFree(std::string_view name) const;

    std::string placed(std::string_view name) const { return home.path() + "/Quenmark/" + std::string(name); }
    std::string temporary(std::string_view name) const {
        return home.temporary().path("QuenmarkTemp/") + std::string(name);
    }
    static std::string contentOf(const std::string& path);
    static void writeFile(const std::string& path, std::string_view content);

    Platform::ManualClock clock;
    Platform::RunLoop loop{clock};
    TestSupport::LogCapture log;
    TestSupport::TemporaryHome home;
    TestSupport::ScopedEnvironment environment;
    TestSupport::HttpServer server;
    /// The deployment settings of the engines.
    Platform::DeploymentSettings settings{.serviceHost = server.host(), .appKitVersionNumber = release10_10};
    /// Returns the settings to the engines, at each use.
    std::function<Platform::DeploymentSettings()> readSettings = [this] { return settings; };
    /// The network's flags.
    std::uint32_t flags = 0x2;
    /// Returns the flags to the engines, at each use.
    std::function<std::optional<std::uint32_t>()> readFlags = [this] { return flags; };
    const ServiceContext context{[this] { return readSettings(); }, [this] { return readFlags(); }};
    std::shared_ptr<TopFileUploadXpcService> engine = std::make_shared<TopFileUploadXpcService>(context);
    EngineProbe engineProbe{*engine};
};

/// Names a test after the transport of the release that is its parameter.
inline std::string transportName(const ::testing::TestParamInfo<double>& parameter) {
    return parameter.param == release10_10 ? "Session" : "Connection";
}

} // namespace Quenmark
