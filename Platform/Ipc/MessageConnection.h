#pragma once

#include "Platform/Ipc/BusService.h"
#include "Platform/Ipc/Endpoint.h"
#include "Platform/Ipc/IncomingCall.h"
#include "Platform/Ipc/Mailbox.h"
#include "Platform/Ipc/PeerIdentity.h"
#include "Platform/Ipc/Value.h"
#include "Platform/Loop/Queue.h"

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <variant>

namespace Platform::Ipc {

/// What happened to a connection.
struct ConnectionError {
    enum class Kind {
        /// The service that a client had connected to has ended. The next message launches it again.
        Interrupted,
        /// The peer of a service has left the bus, the bus is lost, or a service cannot be launched. Nothing comes or
        /// goes any more.
        Invalid,
        /// The system is about to end this process.
        TerminationImminent,
    };

    Kind kind;
    /// "Connection interrupted", "Connection invalid" or "Process termination imminent".
    std::string description;

    static ConnectionError of(Kind kind);
    bool operator==(const ConnectionError&) const = default;
};

/// What a connection hands to its event handler: a message, or an error.
using ConnectionEvent = std::variant<Value, ConnectionError>;

/// How a connection's messages leave it.
class MessageRoute {
public:
    virtual ~MessageRoute() = default;
    virtual void send(const Value& message) = 0;
};

/// What a connection has received: an event, and the call that brought it where the caller waits for its reply.
struct ReceivedEvent {
    ConnectionEvent event;
    std::optional<IncomingCall> call;
};

/// One of the two ends between which messages go: a service's end, with one peer, or a client's end, with one service.
/// Used on the loop's thread. A connection begins suspended; events wait until it is resumed.
class MessageConnection final : public Mailbox<ReceivedEvent>, public ServicePeer {
public:
    using EventHandler = std::function<void(const ConnectionEvent& event)>;

    /// A client's end. The first message launches the service where it does not run. A name that no service can have
    /// is logged, and makes the connection invalid.
    static std::shared_ptr<MessageConnection> toService(const MessageAddress& address);
    /// Made by `toService` and by message services.
    explicit MessageConnection(std::string name);
    ~MessageConnection() override;

    /// The peer's name on the bus: a well-known one at a client's end, a unique one at a service's.
    const std::string& name() const { return name_; }
    /// Who the peer is. At a client's end, who it was last found to be.
    const PeerIdentity& identity() const { return identity_; }

    /// Takes every event, one after the other, on the target queue. A reply that the sender of a message waits for
    /// goes out when the handler returns, and is an error where an exception leaves it.
    void setEventHandler(EventHandler handler);
    /// The queue on which later events are handled; the main queue until then.
    void setTargetQueue(Queue queue);
    /// Each suspension holds events back until it is resumed; `resume` must not be called more often than that.
    void suspend();
    void resume();

    /// Sends a message and awaits nothing. A value that cannot travel is logged and left out.
    void send(const Value& message);
    /// Ends the connection: no event comes any more, and messages go nowhere.
    void cancel();

private:
    friend class MessageService;
    friend class ServiceRoute;

    void setRoute(std::shared_ptr<MessageRoute> route);
    void setIdentity(const PeerIdentity& identity) { identity_ = identity; }
    void activate();
    void receive(IncomingCall call) override;
    void peerDisconnected() override;
    void processEnds() override;
    void receive(ConnectionError::Kind kind);
    void handle(ReceivedEvent received) override;

    const std::string name_;
    PeerIdentity identity_;
    EventHandler handler_;
    std::shared_ptr<MessageRoute> route_;
    int suspensions_ = 1;
    bool active_ = false;
    bool cancelled_ = false;
};

} // namespace Platform::Ipc
