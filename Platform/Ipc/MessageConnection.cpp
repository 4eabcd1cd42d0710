#include "Platform/Ipc/MessageConnection.h"

#include "Platform/Ipc/ErrorNames.h"
#include "Platform/Log.h"

#include <algorithm>
#include <stdexcept>

namespace Platform::Ipc {

ConnectionError ConnectionError::of(Kind kind) {
    switch (kind) {
    case Kind::Interrupted:
        return {kind, "Connection interrupted"};
    case Kind::Invalid:
        return {kind, "Connection invalid"};
    case Kind::TerminationImminent:
        return {kind, "Process termination imminent"};
    }
    throw std::invalid_argument("no such connection error");
}

MessageConnection::MessageConnection(std::string name) : Mailbox(Queue::main()), name_(std::move(name)) {}
MessageConnection::~MessageConnection() = default;

void MessageConnection::setEventHandler(EventHandler handler) {
    handler_ = std::move(handler);
}

void MessageConnection::setTargetQueue(Queue queue) {
    setQueue(std::move(queue));
}

void MessageConnection::suspend() {
    ++suspensions_;
    setOpen(false);
}

void MessageConnection::resume() {
    if (suspensions_ == 0)
        throw std::logic_error("a connection is resumed more often than it was suspended");
    --suspensions_;
    setOpen(active_ && suspensions_ == 0);
}

void MessageConnection::activate() {
    active_ = true;
    setOpen(suspensions_ == 0);
}

void MessageConnection::send(const Value& message) {
    if (route_)
        route_->send(message);
}

void MessageConnection::cancel() {
    cancelled_ = true;
    route_.reset();
    handler_ = nullptr;
    for (const auto& received : takeEvents()) {
        if (received.call)
            received.call->fail(ErrorName::accessDenied, "the connection is cancelled");
    }
}

void MessageConnection::setRoute(std::shared_ptr<MessageRoute> route) {
    route_ = std::move(route);
}

void MessageConnection::receive(IncomingCall call) {
    if (cancelled_)
        return call.fail(ErrorName::accessDenied, "the connection is cancelled");
    auto argument = call.argument();
    if (const auto* refused = std::get_if<MessageFailure>(&argument)) {
        Log::write("A message from " + call.sender() + " is refused: " + refused->text, Log::Priority::Warning);
        return call.fail(refused->errorName, refused->text);
    }
    ReceivedEvent received{std::get<Value>(std::move(argument)), std::nullopt};
    if (call.wantsReply())
        received.call = std::move(call);
    post(std::move(received));
}

void MessageConnection::receive(ConnectionError::Kind kind) {
    if (cancelled_)
        return;
    // The bus that reports this may be part of the route, and is dispatching.
    if (kind == ConnectionError::Kind::Invalid)
        Queue::main().async([route = std::move(route_)] {});
    post({ConnectionError::of(kind), std::nullopt});
}

void MessageConnection::peerDisconnected() {
    receive(ConnectionError::Kind::Invalid);
}

void MessageConnection::processEnds() {
    receive(ConnectionError::Kind::TerminationImminent);
}

void MessageConnection::handle(ReceivedEvent received) {
    try {
        // The handler may put another in its own place.
        if (const auto handler = handler_)
            handler(received.event);
    } catch (const std::exception& exception) {
        if (received.call)
            received.call->fail(ErrorName::failed, exception.what());
        throw;
    }
    if (received.call)
        received.call->reply();
}

} // namespace Platform::Ipc
