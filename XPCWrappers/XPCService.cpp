#include "XPCWrappers/XPCService.h"

#include "Platform/Ipc/MessageService.h"
#include "XPCWrappers/MessageAddress.h"

#include <any>

namespace Quenmark {

using Platform::Notification;
using Platform::NotificationCenter;
using Platform::Queue;

int XPCService::runServiceWithConnectionHandler(ConnectionHandler connectionHandler, const std::string& serviceName) {
    const XPCService service(std::move(connectionHandler));
    return runService(serviceName);
}

int XPCService::runService(const std::string& serviceName) {
    return Platform::Ipc::runMessageService(messageAddress(serviceName), XPCServiceConnectionHandler);
}

XPCService::XPCService(ConnectionHandler handler)
    : connectionHandler(std::move(handler)),
      observer_(NotificationCenter::defaultCenter().addObserver(
          connectionReceivedNotification, Queue::main(), [this](const Notification& notification) {
              // Whoever posts the notification says what its object is.
              if (const auto* connection = std::any_cast<std::shared_ptr<XPCConnection>>(&notification.object))
                  handleConnection(*connection);
          })) {}

void XPCService::handleConnection(const std::shared_ptr<XPCConnection>& connection) {
    if (!connection)
        return;
    connections_.push_back(connection);
    if (connectionHandler)
        connectionHandler(connection);
}

void XPCServiceConnectionHandler(const std::shared_ptr<Platform::Ipc::MessageConnection>& connection) {
    if (const auto wrapped = XPCConnection::initWithConnection(connection))
        NotificationCenter::defaultCenter().post(XPCService::connectionReceivedNotification, std::any(wrapped));
}

} // namespace Quenmark
