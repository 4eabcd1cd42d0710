// A service for the bus to launch: offers "Work", which succeeds, and "Break", which does not.

#include "Platform/Ipc/Listener.h"
#include "Platform/Loop/RunLoop.h"

#include <stdexcept>

namespace {

using namespace Platform;

class AcceptingDelegate final : public Ipc::ListenerDelegate {
public:
    bool listenerShouldAcceptNewConnection(Ipc::Listener&,
                                           const std::shared_ptr<Ipc::Connection>& connection) override {
        connection->setExportedInterface({"org.example.Work", {"Work", "Break"}});
        connection->setExportedObject({{"Work", [] {}}, {"Break", [] { throw std::runtime_error("it is broken"); }}});
        connection->resume();
        return true;
    }
};

} // namespace

int main() {
    RunLoop loop;
    AcceptingDelegate delegate;
    Ipc::Listener listener({"org.example.Worker", "/org/example/Worker"}, {"org.example.Work", {"Work", "Break"}});
    listener.setDelegate(&delegate);
    listener.setEndHandler([&](const std::string&) { loop.stop(69); });
    listener.resume();
    return loop.run();
}
