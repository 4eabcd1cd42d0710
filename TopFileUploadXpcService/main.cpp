// The background service. The bus launches it by name; it takes no arguments, and ends when the system ends it.

#include "Platform/Ipc/Listener.h"
#include "Platform/Log.h"
#include "Platform/Loop/Queue.h"
#include "Platform/Loop/RunLoop.h"
#include "Platform/Memory.h"
#include "Platform/Settings/DeploymentSettings.h"
#include "Platform/StandardStreams.h"
#include "Services/ServiceContext.h"
#include "Services/ServicesUtilities.h"
#include "TopFileUploadXpcService/ManagedPolicy.h"
#include "TopFileUploadXpcService/ServiceDelegate.h"
#include "TopFileUploadXpcService/ServiceNames.h"
#include "TopFileUploadXpcService/TopFileUploadXpcService.h"
#include "XPCWrappers/XPCService.h"

#include <sysexits.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <exception>
#include <memory>

namespace {

using namespace Quenmark;

using Engine = std::shared_ptr<TopFileUploadXpcService>;

/// The one engine of managed mode, which starts once the loop runs; nil in compatible mode.
Engine managedEngine() {
    if (Platform::DeploymentSettings::current().mode != Platform::DeploymentSettings::Mode::Managed)
        return nullptr;
    auto engine = std::make_shared<TopFileUploadXpcService>(ServiceContext{}, std::make_unique<ManagedPolicy>());
    Platform::Queue::main().async([engine] { engine->GetTopFileUpload(); });
    return engine;
}

/// What a message says plays no part. It calls the one engine, or starts one more.
void takeMessage(const Engine& engine) {
    (engine ? engine : std::make_shared<TopFileUploadXpcService>())->GetTopFileUpload();
}

int runWrapper(const Engine& engine) {
    const auto acceptConnection = [engine](const std::shared_ptr<XPCConnection>& connection) {
        connection->setEventHandler([engine](const auto&, XPCConnection&) { takeMessage(engine); });
    };
    return XPCService::runServiceWithConnectionHandler(acceptConnection, ServiceNames::address.name);
}

int runListener(Platform::RunLoop& loop, const Engine& engine) {
    ServiceDelegate delegate(engine);
    Platform::Ipc::Listener listener(ServiceNames::address, ServiceNames::exportedInterface);
    listener.setDelegate(&delegate);
    listener.setEndHandler([&loop](const std::string& reason) {
        Platform::Log::write(reason, Platform::Log::Priority::Error);
        loop.stop(EX_UNAVAILABLE);
    });
    listener.resume();
    return loop.run();
}

int run() {
    Platform::RunLoop loop;
    Platform::Queue::global(Platform::Priority::Background)
        .after(std::chrono::seconds(5), Platform::Memory::releaseStartupPages);
    const Engine engine = managedEngine();
    return ServicesUtilities::is10_7() ? runWrapper(engine) : runListener(loop, engine);
}

} // namespace

int main() {
    Platform::StandardStreams::keepOpen();
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
