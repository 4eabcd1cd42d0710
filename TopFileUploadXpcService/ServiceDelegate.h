#pragma once

#include "Platform/Ipc/Listener.h"
#include "Services/ServiceContext.h"
#include "TopFileUploadXpcService/EngineObserver.h"

#include <memory>
#include <utility>

namespace Quenmark {

class TopFileUploadXpcService;

/// Accepts the connection of every peer. In compatible mode each gets an engine of its own, which idles until the peer
/// starts it; in managed mode all of them reach the one engine.
class ServiceDelegate final : public Platform::Ipc::ListenerDelegate {
public:
    /// A delegate whose engines use `context`, each with an observer of its own where there is a factory.
    explicit ServiceDelegate(ServiceContext context = {}, EngineObserverFactory makeObserver = nullptr)
        : context_(std::move(context)), makeObserver_(std::move(makeObserver)) {}
    /// A delegate that gives `engine` to every connection.
    explicit ServiceDelegate(std::shared_ptr<TopFileUploadXpcService> engine) : engine_(std::move(engine)) {}

    bool listenerShouldAcceptNewConnection(Platform::Ipc::Listener& listener,
                                           const std::shared_ptr<Platform::Ipc::Connection>& newConnection) override;

private:
    ServiceContext context_;
    EngineObserverFactory makeObserver_;
    std::shared_ptr<TopFileUploadXpcService> engine_;
};

} // namespace Quenmark
