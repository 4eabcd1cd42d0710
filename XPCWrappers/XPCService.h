#pragma once

#include "Platform/Ipc/MessageConnection.h"
#include "Platform/Ipc/PropertyObject.h"
#include "Platform/Loop/NotificationCenter.h"
#include "XPCWrappers/XPCConnection.h"

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace Quenmark {

/// Hands each new connection of the process's service to a handler.
class XPCService {
public:
    /// Runs on the main queue, before any event of the connection is handled.
    using ConnectionHandler = std::function<void(const std::shared_ptr<XPCConnection>& connection)>;

    /// Notification of each new connection; its object is a std::shared_ptr<XPCConnection>.
    static constexpr const char* connectionReceivedNotification = "XPCConnectionReceivedNotification";

    /// Makes a service of that handler and runs it; see `runService`.
    static int runServiceWithConnectionHandler(ConnectionHandler connectionHandler, const std::string& serviceName,
                                               std::shared_ptr<Platform::Ipc::PropertyObject> published = nullptr);
    /// Enters the main loop as the service of that bus name. Comes back only when the process is to end, with its exit
    /// status: 0 after a SIGTERM, 69 where the bus or the name cannot be had any more, which is logged. `published`,
    /// where it is given, is published beside the service's own object.
    static int runService(const std::string& serviceName,
                          std::shared_ptr<Platform::Ipc::PropertyObject> published = nullptr);

    /// initWithConnectionHandler: takes every connection that is notified from here on.
    explicit XPCService(ConnectionHandler connectionHandler);
    XPCService(const XPCService&) = delete;
    XPCService& operator=(const XPCService&) = delete;

    /// Keeps the connection and hands it to the handler; nothing for nil.
    void handleConnection(const std::shared_ptr<XPCConnection>& connection);

    /// Every connection that was accepted. None is ever removed; one whose peer has left is no more than a small
    /// record, without a descriptor.
    const std::vector<std::shared_ptr<XPCConnection>>& connections() const { return connections_; }

    ConnectionHandler connectionHandler;

private:
    std::vector<std::shared_ptr<XPCConnection>> connections_;
    std::unique_ptr<Platform::NotificationCenter::Observer> observer_;
};

/// Wraps a connection that the main loop has accepted, and posts the notification of it; nothing for nil.
void XPCServiceConnectionHandler(const std::shared_ptr<Platform::Ipc::MessageConnection>& connection);

} // namespace Quenmark
