#include "Tools/Doctor/HostChecks.h"

#include "Platform/Network/HostAndPort.h"
#include "Platform/UrlLoading/Url.h"
#include "Services/ServiceRoot.h"
#include "Tools/Status/Advice.h"

#include <utility>

namespace Tools {

using Platform::LoadStage;
namespace UrlError = Platform::UrlError;

namespace {

/// The step of a request that failed.
enum class FailedStep { Name, Connection, Security, Response, None };

FailedStep stepOf(const Platform::Error& error) {
    switch (error.code) {
    case UrlError::BadUrl:
    case UrlError::CannotFindHost:
        return FailedStep::Name;
    case UrlError::CannotConnectToHost:
        return FailedStep::Connection;
    case UrlError::SecureConnectionFailed:
    case UrlError::ServerCertificateUntrusted:
        return FailedStep::Security;
    default:
        return FailedStep::Response;
    }
}

FailedStep stepAfter(LoadStage stage, bool isSecure) {
    switch (stage) {
    case LoadStage::Waiting:
        return FailedStep::Name;
    case LoadStage::HostFound:
        return FailedStep::Connection;
    case LoadStage::Connected:
        return isSecure ? FailedStep::Security : FailedStep::Response;
    case LoadStage::Secured:
        break;
    }
    return FailedStep::Response;
}

bool isAddress(const std::string& host) {
    const auto parts = Platform::HostAndPort::split(host);
    return parts && (parts->isBracketed || parts->host.find_first_not_of("0123456789.") == std::string_view::npos);
}

Check responseCheck(int status, const std::string& root) {
    const std::string detail = shown(root) + " responds with status " + std::to_string(status);
    if (status >= 500)
        return warningCheck("HTTP", detail, "Look into the log of the web service");
    return okCheck("HTTP", detail);
}

} // namespace

std::vector<Check> hostChecks(const HostFindings& findings) {
    const bool isSecure = findings.serviceRoot.starts_with("https:");
    const std::string host = shown(findings.host);
    FailedStep failed = FailedStep::None;
    std::string reason = "takes longer than " + std::to_string(HostProbe::limit.count()) + " s";
    if (findings.error) {
        failed = stepOf(*findings.error);
        reason = shown(findings.error->localizedDescription);
    } else if (!findings.status) {
        failed = stepAfter(findings.stage, isSecure);
    }

    if (failed == FailedStep::Name)
        return {failureCheck("host name", host + ": " + reason,
                             "Check serviceHost in deployment.json, and the name servers of this machine")};
    std::vector<Check> checks{okCheck("host name", host + (isAddress(findings.host) ? " is an address" : " is found"))};
    if (failed == FailedStep::Connection) {
        checks.push_back(failureCheck("connection", host + ": " + reason,
                                      "Check that the web service runs there, and that no firewall is in between"));
        return checks;
    }
    checks.push_back(okCheck("connection", "made to " + host));
    if (failed == FailedStep::Security) {
        checks.push_back(failureCheck("TLS", host + ": " + reason,
                                      "Check the certificate of the web service, and certificateAuthorities in "
                                      "deployment.json"));
        return checks;
    }
    if (isSecure)
        checks.push_back(okCheck("TLS", "the certificate is accepted"));
    if (failed == FailedStep::Response)
        checks.push_back(failureCheck("HTTP", shown(findings.serviceRoot) + ": " + reason,
                                      "Check that this is the address of the web service"));
    else
        checks.push_back(responseCheck(*findings.status, findings.serviceRoot));
    return checks;
}

/// Receives the first event of the request; its body is of no use.
class HostProbe::Response final : public Platform::UrlConnectionDelegate {
public:
    explicit Response(HostProbe& probe) : probe_(probe) {}

    void connectionDidReceiveResponse(Platform::UrlConnection&, const Platform::HttpUrlResponse& response) override {
        probe_.findings_.status = response.statusCode;
        probe_.finish();
    }
    void connectionDidFailWithError(Platform::UrlConnection&, const Platform::Error& error) override {
        probe_.findings_.error = error;
        probe_.finish();
    }

private:
    /// It outlives the connection's calls: it cancels the connection at its end.
    HostProbe& probe_;
};

HostProbe::HostProbe(const Platform::DeploymentSettings& settings, std::function<void(const HostFindings&)> finished)
    : findings_{.host = settings.serviceHost, .serviceRoot = Quenmark::serviceRoot(settings)},
      finished_(std::move(finished)) {
    Platform::UrlRequest request;
    request.url = Platform::Url::fromString(findings_.serviceRoot);
    connection_ = std::make_shared<Platform::UrlConnection>(std::move(request), std::make_shared<Response>(*this));
}

HostProbe::~HostProbe() {
    connection_->cancel();
}

void HostProbe::start() {
    limit_ = Platform::Queue::main().timer(limit, [this] {
        findings_.stage = connection_->stage();
        finish();
    });
    connection_->start();
}

void HostProbe::finish() {
    limit_.cancel();
    // Nothing may destroy the connection while it calls.
    end_ = Platform::Queue::main().timer({}, [this] {
        connection_->cancel();
        finished_(findings_);
    });
}

} // namespace Tools
