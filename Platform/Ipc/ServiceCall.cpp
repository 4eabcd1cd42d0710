#include "Platform/Ipc/ServiceCall.h"

#include "Platform/Ipc/Bus.h"
#include "Platform/Queue.h"

namespace Platform::Ipc {

namespace {

using FailureHandler = std::function<void(const std::optional<CallFailure>&)>;

class Call final : public ServiceCall, public std::enable_shared_from_this<Call> {
public:
    explicit Call(FailureHandler handler) : handler_(std::move(handler)), bus_(handlers()) {}

    void start(const BusTarget& target, std::optional<Value> argument, Duration limit) {
        if (const auto reason = bus_.open())
            return finish(CallFailure{"", *reason});
        bus_.call(target, std::move(argument), limit, [this](const Bus::Answer& answer) {
            const auto* failure = std::get_if<CallFailure>(&answer);
            finish(failure == nullptr ? std::nullopt : std::optional(*failure));
        });
    }

private:
    BusHandlers handlers() {
        BusHandlers handlers;
        handlers.ended = [this](const std::string& reason) { finish(CallFailure{"", reason}); };
        return handlers;
    }

    void finish(std::optional<CallFailure> failure) {
        if (std::exchange(finished_, true))
            return;
        Queue::main().async([weak = weak_from_this(), result = std::move(failure)] {
            if (const auto self = weak.lock())
                self->handler_(result);
        });
    }

    FailureHandler handler_;
    bool finished_ = false;
    Bus bus_;
};

/// What the caller holds: with it goes the call.
class Holder final : public ServiceCall {
public:
    explicit Holder(std::shared_ptr<Call> call) : call_(std::move(call)) {}

private:
    std::shared_ptr<Call> call_;
};

} // namespace

std::unique_ptr<ServiceCall> callService(const ServiceAddress& service, const std::string& interface,
                                         const std::string& method, std::optional<Value> argument, Duration limit,
                                         std::function<void(const std::optional<CallFailure>& failure)> handler) {
    auto call = std::make_shared<Call>(std::move(handler));
    call->start({service.name, service.objectPath, interface, method}, std::move(argument), limit);
    return std::make_unique<Holder>(std::move(call));
}

} // namespace Platform::Ipc
