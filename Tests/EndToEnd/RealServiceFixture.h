#pragma once

#include "Platform/Loop/RunLoop.h"
#include "Support/BusPeer.h"
#include "Support/Command.h"
#include "Support/HttpServer.h"
#include "Support/Polling.h"
#include "Support/PrivateBus.h"
#include "Support/Releases.h"
#include "Support/ScopedEnvironment.h"
#include "Support/ServiceProcess.h"
#include "Support/TemporaryHome.h"

#include <gtest/gtest.h>

#include <sys/types.h>

#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace Quenmark {

using TestSupport::pollUntil;
using TestSupport::release10_10;
using TestSupport::release10_7;
using TestSupport::release10_8;
using webservice::test::ServiceProcess;

/// A release number that chooses front end and transport, and what to call it.
struct Variation {
    double release;
    const char* name;
    /// What the desktop application sends to that front end.
    bool isWrapper;
    const char* mode = "compatible";
};

inline std::ostream& operator<<(std::ostream& stream, const Variation& variation) {
    return stream << variation.name;
}

inline constexpr Variation modern{release10_10, "ListenerAndSession", false};
inline constexpr Variation between{release10_8, "ListenerAndConnection", false};
inline constexpr Variation wrapper{release10_7, "WrapperAndConnection", true};
inline constexpr Variation managedModern{release10_10, "ManagedListenerAndSession", false, "managed"};
inline constexpr Variation managedBetween{release10_8, "ManagedListenerAndConnection", false, "managed"};
inline constexpr Variation managedWrapper{release10_7, "ManagedWrapperAndConnection", true, "managed"};

/// The real service, launched by name over a bus of the test's own, with settings and folders of the test's own.
class RealServiceFixture : public ::testing::TestWithParam<Variation> {
protected:
    static constexpr const char* pollTarget = "/QuenmarkRestService/Uploads.svc/GetTopFileUpload";
    static constexpr const char* streamTarget = "/QuenmarkRestService/Uploads.svc/GetTopFileUploadWithStream";
    static constexpr const char* acknowledgeTarget = "/QuenmarkRestService/Uploads.svc/UpdateFileUpload";
    static constexpr const char* nothing = R"({"ReturnStatus":"1"})";
    static constexpr const char* pollOperation = "Uploads.svc/GetTopFileUpload";
    static constexpr const char* streamOperation = "Uploads.svc/GetTopFileUploadWithStream";
    static constexpr const char* acknowledgeOperation = "Uploads.svc/UpdateFileUpload";
    static constexpr const char* busName = "Velkarin.Quenmark.TopFileUploadXpcService";

    RealServiceFixture();

    static bool isManaged() { return std::string_view(GetParam().mode) == "managed"; }
    /// Writes the deployment settings.
    void configure(const std::string& serviceHost);
    /// Writes the deployment settings and makes the bus; to be called before anything is started. The service is an
    /// argument of `launcher`, a command, where that is given.
    void deploy(const std::string& serviceHost, const std::string& launcher = "");
    void setPreferences(const std::string& computer, const std::string& folder);

    /// Starts the engine with the command-line tool.
    void start();
    /// Asks for the start as another program does, without waiting.
    void askToStart(TestSupport::BusPeer& peer);
    /// The process that the bus launched.
    std::optional<pid_t> serviceProcess() const;

    std::size_t count(std::string_view target) const;
    const TestSupport::HttpRequest& last(std::string_view target) const;

    std::string outbox(std::string_view name) const { return data.path() + "/outbox/7/" + std::string(name); }
    std::string placed(std::string_view name) const { return home.path() + "/Quenmark/" + std::string(name); }
    std::string temporary(std::string_view name) const {
        return home.temporary().path("QuenmarkTemp/") + std::string(name);
    }
    /// The content of a file, or nil.
    static std::optional<std::string> contentOf(const std::string& path);
    static bool exists(const std::string& path);
    /// How many items wait for the computer at the web service; -1 where it does not say.
    long pendingItems(const ServiceProcess& service);

    /// A fault of a web service's plan, in JSON, for the requests for an operation from number `skip` on, counted from
    /// 0 (Docs/webservice.md).
    static std::string fault(std::string_view operation, std::string_view action, int skip = 0, int times = 1);
    /// Replaces the plan.
    static void planFaults(const ServiceProcess& service, const std::vector<std::string>& faults);
    /// The bytes in front of the content in the response to a download of the first item.
    static std::size_t downloadHeaderSize(const ServiceProcess& service);
    /// How many bytes each response to an operation with status 200 had, by the web service's log: "200 1000000 ".
    static std::string sentBytes(const ServiceProcess& service, std::string_view operation);

    static std::string item(std::string_view name, std::string_view isFile = "True", std::string_view id = "12");
    static TestSupport::Headers streamHeaders(std::string_view name, std::string_view id = "12");

    Platform::RunLoop loop;
    TestSupport::TemporaryHome home;
    TestSupport::TemporaryDirectory data;
    TestSupport::ScopedEnvironment environment;
    TestSupport::HttpServer server;
    std::unique_ptr<TestSupport::PrivateBus> bus;
};

} // namespace Quenmark
