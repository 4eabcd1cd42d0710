#include "Services/UploadProgress.h"

#include <utility>

namespace Quenmark {

namespace {

constexpr Platform::Duration interval = std::chrono::milliseconds(100);

} // namespace

UploadProgress::UploadProgress(Handler handler, std::uint64_t bytesTotal)
    : handler_(std::move(handler)), bytesTotal_(bytesTotal) {}

void UploadProgress::follow(std::weak_ptr<const Platform::UrlSessionTask> task) {
    task_ = std::move(task);
    timer_ = Platform::Queue::main().timer(interval, [this] { sample(); });
}

void UploadProgress::sample() {
    timer_ = Platform::Queue::main().timer(interval, [this] { sample(); });
    const auto task = task_.lock();
    const auto sent = task ? task->countOfBytesSent() : 0;
    // A task that has ended, or begins anew after a redirect, counts from 0.
    if (sent > reported_)
        report(sent);
}

void UploadProgress::finish() {
    timer_.cancel();
    if (reported_ != bytesTotal_)
        report(bytesTotal_);
}

void UploadProgress::report(std::uint64_t bytesSent) {
    reported_ = bytesSent;
    // The handler may run the loop, which may end the upload and destroy this.
    const auto handler = handler_;
    handler(bytesSent, bytesTotal_);
}

} // namespace Quenmark
