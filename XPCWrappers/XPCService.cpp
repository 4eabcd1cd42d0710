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
              handleConnection(std::any_cast<const std::shared_ptr<XPCConnection>&>(notification.object));
          })) {}

void XPCService::handleConnection(const std::shared_ptr<XPCConnection>& connection) {
    connections_.push_back(connection);
    if (connectionHandler)
        connectionHandler(connection);
}

void XPCServiceConnectionHandler(const std::shared_ptr<Platform::Ipc::MessageConnection>& connection) {
    const auto wrapped = XPCConnection::initWithConnection(connection);
    NotificationCenter::defaultCenter().post(XPCService::connectionReceivedNotification, std::any(wrapped));
}

} // namespace Quenmark
