#pragma once

#include "Platform/Loop/Queue.h"
#include "Platform/UrlLoading/UrlSession.h"

#include <cstdint>
#include <functional>
#include <memory>

namespace Quenmark {

/// Reports on the main queue how much of a task's file was sent, after each tenth of a second in which that has grown,
/// from `follow` until it is destroyed. It is used on the loop's thread.
class UploadProgress {
public:
    using Handler = std::function<void(std::uint64_t bytesSent, std::uint64_t bytesTotal)>;

    /// The handler must not be empty.
    UploadProgress(Handler handler, std::uint64_t bytesTotal);
    UploadProgress(const UploadProgress&) = delete;
    UploadProgress& operator=(const UploadProgress&) = delete;

    /// The task must be held by others, and may hold this.
    void follow(std::weak_ptr<const Platform::UrlSessionTask> task);
    /// Everything was sent: reports that, unless it was reported already, before it returns.
    void finish();

private:
    void sample();
    void report(std::uint64_t bytesSent);

    Handler handler_;
    std::uint64_t bytesTotal_;
    std::uint64_t reported_ = 0;
    std::weak_ptr<const Platform::UrlSessionTask> task_;
    Platform::Timer timer_;
};

} // namespace Quenmark
