#include "Platform/Ipc/Connection.h"

#include "Platform/Ipc/ErrorNames.h"

#include <algorithm>

namespace Platform::Ipc {

Connection::Connection(std::string peer, Queue queue) : Mailbox(std::move(queue)), peer_(std::move(peer)) {}
Connection::~Connection() = default;

void Connection::setExportedInterface(Interface interface) {
    interface_ = std::move(interface);
}

void Connection::setExportedObject(ExportedObject object) {
    object_ = std::make_shared<const ExportedObject>(std::move(object));
}

void Connection::resume() {
    setOpen(true);
}

void Connection::receive(IncomingCall call) {
    post(std::move(call));
}

void Connection::refuse() {
    refused_ = true;
    object_.reset();
    setOpen(true);
}

void Connection::peerDisconnected() {
    post(std::nullopt);
}

void Connection::handle(std::optional<IncomingCall> call) {
    if (!call)
        object_.reset();
    else if (refused_)
        call->fail(ErrorName::accessDenied, "the connection is refused");
    else
        run(*call);
}

void Connection::run(const IncomingCall& call) {
    if (!interface_ || interface_->name != call.interface())
        return call.fail(ErrorName::unknownInterface, "Unknown interface " + call.interface());
    const std::string name = call.method();
    // The method may put another object in the place of the one that it works on.
    const auto object = object_;
    const bool exported = object && object->contains(name) && std::ranges::count(interface_->methods, name) != 0;
    if (!exported)
        return call.fail(ErrorName::unknownMethod, "Unknown method " + name);
    try {
        object->at(name)();
        call.reply();
    } catch (const std::exception& exception) {
        call.fail(ErrorName::failed, exception.what());
        throw;
    }
}

} // namespace Platform::Ipc
