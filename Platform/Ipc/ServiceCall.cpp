#include "Platform/Ipc/ServiceCall.h"

#include "Platform/Ipc/Bus.h"
#include "Platform/Loop/Queue.h"

namespace Platform::Ipc {

namespace {

using FailureHandler = std::function<void(const std::optional<CallFailure>&)>;

class Call final : public ServiceCall, public std::enable_shared_from_this<Call> {
public:
    explicit Call(FailureHandler handler) : handler_(std::move(handler)), bus_(callbacks()) {}

    void start(const BusTarget& target, std::optional<Value> argument, Duration timeout) {
        if (const auto opened = bus_.open(); !opened)
            return finish(CallFailure{"", opened.error()});
        bus_.call(target, std::move(argument), timeout, [this](const Bus::Reply& reply) {
            const auto* failure = std::get_if<CallFailure>(&reply);
            finish(failure == nullptr ? std::nullopt : std::optional(*failure));
        });
    }

private:
    BusCallbacks callbacks() {
        BusCallbacks callbacks;
        callbacks.failed = [this](const std::string& reason) { finish(CallFailure{"", reason}); };
        return callbacks;
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

/// Owned by the caller: destroying it drops the call.
class Holder final : public ServiceCall {
public:
    explicit Holder(std::shared_ptr<Call> call) : call_(std::move(call)) {}

private:
    std::shared_ptr<Call> call_;
};

} // namespace

std::unique_ptr<ServiceCall> callService(const ServiceAddress& service, const std::string& interface,
                                         const std::string& method, std::optional<Value> argument, Duration timeout,
                                         std::function<void(const std::optional<CallFailure>& failure)> handler) {
    auto call = std::make_shared<Call>(std::move(handler));
    call->start({service.name, service.objectPath, interface, method}, std::move(argument), timeout);
    return std::make_unique<Holder>(std::move(call));
}

} // namespace Platform::Ipc
