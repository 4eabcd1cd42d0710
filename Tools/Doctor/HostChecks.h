#pragma once

#include "Platform/Error.h"
#include "Platform/Loop/Queue.h"
#include "Platform/Settings/DeploymentSettings.h"
#include "Platform/UrlLoading/LoadStage.h"
#include "Platform/UrlLoading/UrlConnection.h"
#include "Tools/Doctor/Check.h"

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Tools {

/// The outcome of a request to the web service. Without an error and a status there was no response in time.
struct HostFindings {
    /// Host and port, as the settings name them.
    std::string host;
    std::string serviceRoot;
    /// How far the request came where there was no response in time.
    Platform::LoadStage stage = Platform::LoadStage::Waiting;
    std::optional<Platform::Error> error = std::nullopt;
    std::optional<int> status = std::nullopt;
};

/// The checks of the steps of a request, up to the first that fails: the host's name, the connection, TLS where that is
/// used, and the response.
std::vector<Check> hostChecks(const HostFindings& findings);

/// Sends a request for the service root to the web service.
class HostProbe {
public:
    /// How long the response may take.
    static constexpr auto limit = std::chrono::seconds(10);

    /// `finished` is called once, on the main queue.
    HostProbe(const Platform::DeploymentSettings& settings, std::function<void(const HostFindings& findings)> finished);
    HostProbe(const HostProbe&) = delete;
    HostProbe& operator=(const HostProbe&) = delete;
    ~HostProbe();

    /// To be called once.
    void start();

private:
    class Response;

    void finish();

    HostFindings findings_;
    std::function<void(const HostFindings&)> finished_;
    std::shared_ptr<Platform::UrlConnection> connection_;
    Platform::Timer limit_;
    Platform::Timer end_;
};

} // namespace Tools
