#pragma once

#include "Platform/Ipc/BusService.h"
#include "Platform/Ipc/Endpoint.h"
#include "Platform/Ipc/IncomingCall.h"
#include "Platform/Ipc/Mailbox.h"
#include "Platform/Loop/Queue.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace Platform::Ipc {

/// What the methods of an exported interface do, by their names. The functions keep alive what they work on.
using ExportedObject = std::map<std::string, std::function<void()>>;

/// A listener's connection with one peer, which is one unique name on the bus (D-Bus Specification, "Unique
/// Connection Name"). Calls are pending until `resume`, then run in order on the connection's own serial queue. Once
/// the peer has left the bus, its pending calls run, and then the connection releases its exported object.
class Connection final : public Mailbox<std::optional<IncomingCall>>, public ServicePeer {
public:
    /// Made by a listener.
    Connection(std::string peer, Queue queue);
    ~Connection() override;

    /// The peer's unique bus name.
    const std::string& peer() const { return peer_; }

    /// The interface that the peer may call. Without one, every call is refused with
    /// org.freedesktop.DBus.Error.UnknownInterface; a method that is not in it, or not in the exported object, with
    /// org.freedesktop.DBus.Error.UnknownMethod.
    void setExportedInterface(Interface interface);
    /// What the calls do. An exception that leaves a method goes to the loop; a caller that waits for the reply gets
    /// org.freedesktop.DBus.Error.Failed, with the exception's text.
    void setExportedObject(ExportedObject object);
    /// Lets calls through.
    void resume();

private:
    friend class Listener;

    void receive(IncomingCall call) override;
    void peerDisconnected() override;
    void refuse();
    /// Runs a call; nil stands for the end of the connection.
    void handle(std::optional<IncomingCall> call) override;
    void run(const IncomingCall& call);

    std::string peer_;
    std::optional<Interface> interface_;
    std::shared_ptr<const ExportedObject> object_;
    bool refused_ = false;
};

} // namespace Platform::Ipc
