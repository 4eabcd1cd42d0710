#pragma once

#include "Platform/UrlLoading/ConnectionSlots.h"
#include "Platform/UrlLoading/UrlSession.h"

#include <cstddef>
#include <memory>
#include <optional>
#include <string>

namespace Platform {

class HttpSessionTask;
class TaskReceiver;

/// The session behind `UrlSession`: its delegate, and the connection slots of its tasks.
class HttpSession final : public UrlSession {
public:
    HttpSession(UrlSessionConfiguration configuration, std::shared_ptr<UrlSessionDelegate> delegate, Queue queue);

    std::shared_ptr<UrlSessionTask> dataTaskWithRequest(UrlRequest request) override;
    std::shared_ptr<UrlSessionTask> dataTaskWithRequest(UrlRequest request, DataHandler completionHandler) override;
    std::shared_ptr<UrlSessionTask> uploadTaskWithRequest(UrlRequest request, const Url& fromFile,
                                                          DataHandler completionHandler) override;
    std::shared_ptr<UrlSessionTask> uploadTaskWithStreamedRequest(UrlRequest request) override;
    std::shared_ptr<UrlSessionTask> downloadTaskWithURL(std::optional<Url> url,
                                                        DownloadHandler completionHandler) override;

    const UrlSessionConfiguration& configuration() const override { return configuration_; }
    const Queue& delegateQueue() const override { return queue_; }

    /// Nil where there is none, and once the last task is done and nobody else holds it.
    std::shared_ptr<UrlSessionDelegate> delegate() const;
    /// A task counts from its creation until it has ended or is destroyed; the delegate is kept as long.
    void taskWasMade();
    void taskIsDone();

    /// Starts the task as soon as it has a slot: at once, or when the tasks before it have released theirs.
    void acquireSlot(HttpSessionTask& task);
    /// Releases the slot of a task, or ends its wait for one, and starts the task that has the slot now.
    void releaseSlot(HttpSessionTask& task);
    /// The same for a task whose loop has ended, so that no other is started.
    void dropSlot(HttpSessionTask& task) noexcept;

private:
    std::shared_ptr<UrlSessionTask> makeTask(UrlRequest request, std::unique_ptr<TaskReceiver> receiver,
                                             std::optional<std::string> bodyFile);

    const UrlSessionConfiguration configuration_;
    const Queue queue_;
    /// The delegate, kept; and the same once it is not kept any more.
    std::shared_ptr<UrlSessionDelegate> delegate_;
    std::weak_ptr<UrlSessionDelegate> formerDelegate_;
    std::size_t unfinishedTasks_ = 0;
    ConnectionSlots<HttpSessionTask> slots_;
};

} // namespace Platform
