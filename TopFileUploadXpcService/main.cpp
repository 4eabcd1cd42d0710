// The background service. The bus launches it by name; it takes no arguments, and ends when the system ends it.

#include "Platform/Ipc/Listener.h"
#include "Platform/Log.h"
#include "Platform/Memory.h"
#include "Platform/Queue.h"
#include "Platform/RunLoop.h"
#include "TopFileUploadXpcService/ServiceDelegate.h"
#include "TopFileUploadXpcService/ServiceNames.h"

#include <sysexits.h>

#include <chrono>

int main() {
    using Platform::Priority;
    using Platform::Queue;

    Platform::Memory::keepSmall();
    Platform::RunLoop loop;
    Quenmark::ServiceDelegate delegate;
    Platform::Ipc::Listener listener(Quenmark::ServiceNames::address, Quenmark::ServiceNames::exportedInterface);
    listener.setDelegate(&delegate);
    listener.setEndHandler([&loop](const std::string& reason) {
        Platform::Log::write(reason);
        loop.stop(EX_UNAVAILABLE);
    });
    listener.resume();
    Queue::global(Priority::Background).after(std::chrono::seconds(5), Platform::Memory::releaseStartupPages);
    return loop.run();
}
