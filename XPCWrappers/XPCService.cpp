#include "XPCWrappers/XPCService.h"

#include "Platform/Ipc/MessageService.h"
#include "XPCWrappers/MessageAddress.h"

#include <any>
#include <utility>

namespace Quenmark {

using Platform::Notification;
using Platform::NotificationCenter;
using Platform::Queue;
using Platform::Ipc::PropertyObject;

int XPCService::runServiceWithConnectionHandler(ConnectionHandler connectionHandler, const std::string& serviceName,
                                                std::shared_ptr<PropertyObject> published) {
    const XPCService service(std::move(connectionHandler));
    return runService(serviceName, std::move(published));
}

int XPCService::runService(const std::string& serviceName, std::shared_ptr<PropertyObject> published) {
    return Platform::Ipc::runMessageService(messageAddress(serviceName), XPCServiceConnectionHandler,
                                            std::move(published));
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
