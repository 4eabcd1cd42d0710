#pragma once

#include "Platform/Ipc/Listener.h"

namespace Quenmark {

/// Accepts the connection of every peer, and gives each an engine of its own, which idles until the peer starts it.
class ServiceDelegate final : public Platform::Ipc::ListenerDelegate {
public:
    bool listenerShouldAcceptNewConnection(Platform::Ipc::Listener& listener,
                                           const std::shared_ptr<Platform::Ipc::Connection>& newConnection) override;
};

} // namespace Quenmark
