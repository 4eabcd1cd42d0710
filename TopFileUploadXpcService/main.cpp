// The background service. The bus launches it by name; its arguments play no part, but for one that asks for help or
// the version, and it ends when the system ends it.

#include "Platform/Ipc/Listener.h"
#include "Platform/Log.h"
#include "Platform/Loop/Queue.h"
#include "Platform/Loop/RunLoop.h"
#include "Platform/Loop/Watchdog.h"
#include "Platform/Memory.h"
#include "Platform/Settings/DeploymentSettings.h"
#include "Platform/StandardStreams.h"
#include "Services/ServiceContext.h"
#include "Services/ServicesUtilities.h"
#include "TopFileUploadXpcService/ManagedPolicy.h"
#include "TopFileUploadXpcService/ServiceDelegate.h"
#include "TopFileUploadXpcService/ServiceNames.h"
#include "TopFileUploadXpcService/ServiceStatus.h"
#include "TopFileUploadXpcService/StatusObject.h"
#include "TopFileUploadXpcService/StatusReport.h"
#include "TopFileUploadXpcService/TopFileUploadXpcService.h"
#include "TopFileUploadXpcService/Version.h"
#include "XPCWrappers/XPCService.h"

#include <sysexits.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace {

using namespace Quenmark;

constexpr const char* help =
    "The top-file service: receives the items that the web service holds for this computer\n"
    "Usage: TopFileUploadXpcService [--help | --version]\n\n"
    "Options:\n"
    "  -h,--help                   Print this help message and exit\n"
    "  --version                   Display program version information and exit\n\n"
    "The session bus launches it by its name, Velkarin.Quenmark.TopFileUploadXpcService, and it runs until it is\n"
    "ended. Other arguments are ignored.\n\n"
    "Examples:\n"
    "  TopFileUploadXpcService --version\n"
    "  quenmark start              # has the bus launch it, and asks it to start\n\n"
    "Exit status:\n"
    "  0   help or version was printed\n"
    "  69  its bus name is taken, or the bus is lost\n"
    "  71  there is no memory or no descriptor to start with\n"
    "  74  help or version cannot be written\n";

/// What is printed for a command line of one option; nil for every other one, which plays no part.
std::optional<std::string> information(int argc, char** argv) {
    const std::string_view argument = argc == 2 ? argv[1] : "";
    if (argument == "--version")
        return std::string("TopFileUploadXpcService ") + version() + "\n";
    if (argument == "--help" || argument == "-h")
        return help;
    return std::nullopt;
}

using Engine = std::shared_ptr<TopFileUploadXpcService>;

/// What the front ends share.
struct Service {
    std::shared_ptr<ServiceStatus> status;
    std::shared_ptr<Platform::Ipc::PropertyObject> statusObject;
    /// The one engine of managed mode; nil in compatible mode.
    Engine engine;
};

/// The one engine of managed mode, which starts once the loop runs.
Engine managedEngine(ServiceStatus& status) {
    auto engine = std::make_shared<TopFileUploadXpcService>(ServiceContext{}, std::make_unique<ManagedPolicy>(),
                                                            status.addEngine(""));
    Platform::Queue::main().async([engine] { engine->GetTopFileUpload(); });
    return engine;
}

Service makeService(bool hasMessages) {
    const bool isManaged = Platform::DeploymentSettings::current().mode == Platform::DeploymentSettings::Mode::Managed;
    auto status = std::make_shared<ServiceStatus>(isManaged);
    auto object = statusObject(status, {QUENMARK_VERSION, hasMessages ? "messages" : "listener"});
    reportChanges(*status, object);
    auto engine = isManaged ? managedEngine(*status) : nullptr;
    return {std::move(status), std::move(object), std::move(engine)};
}

/// What a message says plays no part. It calls the one engine, or starts one more.
void takeMessage(const Service& service, const XPCConnection& connection) {
    const auto peer = connection.connectionName().value_or("");
    const auto newEngine = [&] {
        return std::make_shared<TopFileUploadXpcService>(ServiceContext{}, nullptr, service.status->addEngine(peer));
    };
    (service.engine ? service.engine : newEngine())->GetTopFileUpload();
}

int runWrapper(const Service& service) {
    const auto acceptConnection = [&service](const std::shared_ptr<XPCConnection>& connection) {
        connection->setEventHandler([&service](const auto&, XPCConnection& from) { takeMessage(service, from); });
    };
    return XPCService::runServiceWithConnectionHandler(acceptConnection, ServiceNames::address.name,
                                                       service.statusObject);
}

int runListener(Platform::RunLoop& loop, const Service& service) {
    ServiceDelegate delegate = service.engine ? ServiceDelegate(service.engine)
                                              : ServiceDelegate({}, [status = service.status](const std::string& peer) {
                                                    return status->addEngine(peer);
                                                });
    Platform::Ipc::Listener listener(ServiceNames::address, ServiceNames::exportedInterface);
    listener.setDelegate(&delegate);
    listener.publish(service.statusObject);
    listener.setEndHandler([&loop](const std::string& reason) {
        Platform::Log::write(reason, Platform::Log::Priority::Error);
        loop.stop(EX_UNAVAILABLE);
    });
    listener.resume();
    return loop.run();
}

int run() {
    Platform::RunLoop loop;
    const Platform::Watchdog watchdog(loop);
    Platform::Queue::global(Platform::Priority::Background)
        .after(std::chrono::seconds(5), Platform::Memory::releaseStartupPages);
    const bool hasMessages = ServicesUtilities::is10_7();
    const Service service = makeService(hasMessages);
    return hasMessages ? runWrapper(service) : runListener(loop, service);
}

} // namespace

int main(int argc, char** argv) {
    Platform::StandardStreams::keepOpen();
    if (const auto text = information(argc, argv))
        return Platform::StandardStreams::writeOutput(*text) ? EX_IOERR : EX_OK;
    // A peer or a log's reader that is disconnected, and a limit of file sizes, are errors of the write (EPIPE, EFBIG).
    std::signal(SIGPIPE, SIG_IGN);
    std::signal(SIGXFSZ, SIG_IGN);
    Platform::Memory::keepSmall();
    try {
        return run();
    } catch (const std::exception& exception) {
        // There is no memory or no descriptor for the loop or the bus. The entry may need more than there is.
        std::fputs("The service cannot start: ", stderr);
        std::fputs(exception.what(), stderr);
        std::fputc('\n', stderr);
        return EX_OSERR;
    }
}
