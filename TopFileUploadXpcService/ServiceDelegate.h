#pragma once

#include "Platform/Ipc/Listener.h"
#include "Services/ServiceContext.h"

#include <utility>

namespace Quenmark {

/// Accepts the connection of every peer, and gives each an engine of its own, which idles until the peer starts it.
class ServiceDelegate final : public Platform::Ipc::ListenerDelegate {
public:
    /// A delegate whose engines use `context`.
    explicit ServiceDelegate(ServiceContext context = {}) : context_(std::move(context)) {}

    bool listenerShouldAcceptNewConnection(Platform::Ipc::Listener& listener,
                                           const std::shared_ptr<Platform::Ipc::Connection>& newConnection) override;

private:
    ServiceContext context_;
};

} // namespace Quenmark
