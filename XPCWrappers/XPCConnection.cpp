#include "XPCWrappers/XPCConnection.h"

#include "Platform/Log.h"
#include "XPCWrappers/MessageAddress.h"
#include "XPCWrappers/XPCParse.h"

namespace Quenmark {

using Platform::Queue;
using Platform::Ipc::ConnectionError;
using Platform::Ipc::ConnectionEvent;
using Platform::Ipc::MessageConnection;

std::shared_ptr<XPCConnection> XPCConnection::initWithServiceName(const std::string& serviceName) {
    return initWithConnection(MessageConnection::toService(messageAddress(serviceName)));
}

std::shared_ptr<XPCConnection> XPCConnection::initWithConnection(std::shared_ptr<MessageConnection> connection) {
    if (!connection)
        return nullptr;
    auto self = std::make_shared<XPCConnection>(Key(), std::move(connection));
    self->receiveConnection(*self->connection_);
    self->setDispatchQueue(Queue::serial(self->connection_->name()));
    self->connection_->resume();
    return self;
}

XPCConnection::XPCConnection(Key, std::shared_ptr<MessageConnection> connection)
    : connection_(std::move(connection)), dispatchQueue_(Queue::main()) {}

XPCConnection::~XPCConnection() {
    connection_->cancel();
}

void XPCConnection::setDispatchQueue(const Queue& dispatchQueue) {
    dispatchQueue_ = dispatchQueue;
    connection_->setTargetQueue(dispatchQueue);
}

void XPCConnection::receiveConnection(MessageConnection& connection) {
    connection.setEventHandler([weak = weak_from_this()](const ConnectionEvent& event) {
        if (const auto self = weak.lock())
            self->handleEvent(event);
    });
}

void XPCConnection::handleEvent(const ConnectionEvent& event) {
    if (const auto* error = std::get_if<ConnectionError>(&event))
        return invokeErrorHandlerWithObject(*error, *this);
    const auto message = XPCParse::objectWithXPCObject(std::get<Platform::Ipc::Value>(event));
    const auto* dictionary = message ? message->as<XPC::Dictionary>() : nullptr;
    if (const auto* entry = dictionary == nullptr ? nullptr : dictionary->objectForKey(debugLogKey))
        return Platform::Log::write("LOG: " + text(*entry));
    if (const auto handler = eventHandler_)
        handler(message, *this);
}

void XPCConnection::invokeErrorHandlerWithObject(const ConnectionError& object, XPCConnection& connection) {
    // A handler may put another in its own place.
    if (const auto handler = errorHandler_)
        handler(connection, object.description);
}

void XPCConnection::sendMessage(XPC::Object object) {
    dispatchQueue_.async([self = shared_from_this(), message = std::move(object)] {
        const auto value = message.as<XPC::Dictionary>() != nullptr
                               ? XPCParse::newXPCObject(message)
                               : XPCParse::newXPCObject(XPC::Dictionary{{contentsKey, message}});
        if (value)
            self->connection_->send(*value);
    });
}

void XPCConnection::_sendLog(const std::string& string) {
    sendMessage(XPC::Dictionary{{debugLogKey, string}});
}

void XPCConnection::suspend() {
    dispatchQueue_.async([self = shared_from_this()] { self->connection_->suspend(); });
}

void XPCConnection::resume() {
    dispatchQueue_.async([self = shared_from_this()] { self->connection_->resume(); });
}

std::optional<std::string> XPCConnection::connectionName() const {
    return connection_->name().empty() ? std::nullopt : std::optional(connection_->name());
}
std::uint32_t XPCConnection::connectionEUID() const {
    return connection_->identity().effectiveUser;
}
std::uint32_t XPCConnection::connectionEGID() const {
    return connection_->identity().effectiveGroup;
}
std::uint32_t XPCConnection::connectionProcessID() const {
    return connection_->identity().process;
}
std::uint32_t XPCConnection::connectionAuditSessionID() const {
    return connection_->identity().auditSession;
}

} // namespace Quenmark
