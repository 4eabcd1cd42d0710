#pragma once

#include "Platform/Ipc/MessageConnection.h"
#include "Platform/Loop/Queue.h"
#include "XPCWrappers/Object.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace Quenmark {

/// One end of a connection on which value objects travel. Its events, and all that it sends, go through a serial queue
/// of its own. A client's end is ended by destroying it; ends of a service last as long as the process.
class XPCConnection : public std::enable_shared_from_this<XPCConnection> {
    /// Keeps the constructor to this class.
    struct Key {};

public:
    /// Is called with each message, which is nil where nothing corresponds to what travelled.
    using EventHandler = std::function<void(const std::optional<XPC::Object>& message, XPCConnection& connection)>;
    /// Is called with the description of what happened to the connection: "Connection interrupted" (a client's service
    /// has ended; the next message launches it again), "Connection invalid" (nothing comes or goes any more) or
    /// "Process termination imminent".
    using ErrorHandler = std::function<void(XPCConnection& connection, const std::string& description)>;

    /// Key of the one entry in which a message that is no dictionary is sent.
    static constexpr const char* contentsKey = "contents";
    /// Key that marks a message as one for the log.
    static constexpr const char* debugLogKey = "XPCDebugLog";

    /// A client's end, to the service of that bus name. The first message launches a service that does not run. A
    /// connection to what can be no service's name is invalid, which its error handler receives.
    static std::shared_ptr<XPCConnection> initWithServiceName(const std::string& serviceName);
    /// Takes a connection over and resumes it; nil for nil.
    static std::shared_ptr<XPCConnection>
    initWithConnection(std::shared_ptr<Platform::Ipc::MessageConnection> connection);
    XPCConnection(Key key, std::shared_ptr<Platform::Ipc::MessageConnection> connection);
    ~XPCConnection();
    XPCConnection(const XPCConnection&) = delete;
    XPCConnection& operator=(const XPCConnection&) = delete;

    /// Sends an object later, on the dispatch queue; one that is no dictionary as {"contents": object}. Nothing is
    /// awaited, and what cannot travel is logged.
    void sendMessage(XPC::Object object);
    /// Sends {"XPCDebugLog": string}, which the other side writes to its log.
    void _sendLog(const std::string& string);

    /// On the dispatch queue. Events that come while the connection is suspended wait until each suspension is undone.
    void suspend();
    void resume();

    /// Takes that connection's events, as `initWithConnection` does with the connection that it wraps: a message for
    /// the log is logged, any other goes to the event handler, an error to the error handler.
    void receiveConnection(Platform::Ipc::MessageConnection& connection);
    /// Calls the error handler, where there is one, with `connection` and the description of `object`. Runs in place.
    void invokeErrorHandlerWithObject(const Platform::Ipc::ConnectionError& object, XPCConnection& connection);

    /// The peer's bus name: the service's name at a client's end, a unique name at a service's; nil where it has none.
    std::optional<std::string> connectionName() const;
    /// Who the peer is; 4294967295 stands for what is not known, and for an audit session that was never set.
    std::uint32_t connectionEUID() const;
    std::uint32_t connectionEGID() const;
    std::uint32_t connectionProcessID() const;
    std::uint32_t connectionAuditSessionID() const;

    const EventHandler& eventHandler() const { return eventHandler_; }
    void setEventHandler(EventHandler eventHandler) { eventHandler_ = std::move(eventHandler); }
    const ErrorHandler& errorHandler() const { return errorHandler_; }
    void setErrorHandler(ErrorHandler errorHandler) { errorHandler_ = std::move(errorHandler); }
    const Platform::Queue& dispatchQueue() const { return dispatchQueue_; }
    void setDispatchQueue(const Platform::Queue& dispatchQueue);
    const std::shared_ptr<Platform::Ipc::MessageConnection>& connection() const { return connection_; }

private:
    void handleEvent(const Platform::Ipc::ConnectionEvent& event);

    std::shared_ptr<Platform::Ipc::MessageConnection> connection_;
    Platform::Queue dispatchQueue_;
    EventHandler eventHandler_;
    ErrorHandler errorHandler_;
};

} // namespace Quenmark
