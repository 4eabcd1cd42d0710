#pragma once

#include "Platform/UrlLoading/UrlSession.h"

#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>

namespace Platform {

class HttpSessionTask;
class TaskReceiver;

/// The session behind `UrlSession`: its delegate, and the places that its tasks have at each server.
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
    /// A task that is made counts until it has ended or goes; the delegate is kept as long.
    void taskWasMade();
    void taskIsDone();

    /// Starts the task as soon as it has a place at its server: at once, or when those before it have left theirs.
    void takePlace(const std::shared_ptr<HttpSessionTask>& task);
    /// Gives up the place of a task, or its place among the waiting ones.
    void leavePlace(HttpSessionTask& task);

private:
    struct Places {
        int taken = 0;
        std::list<std::weak_ptr<HttpSessionTask>> waiting;
    };

    std::shared_ptr<UrlSessionTask> makeTask(UrlRequest request, std::unique_ptr<TaskReceiver> receiver,
                                             std::optional<std::string> bodyFile);
    void startWaiting(Places& places) const;

    const UrlSessionConfiguration configuration_;
    const Queue queue_;
    /// The delegate, kept; and the same once it is not kept any more.
    std::shared_ptr<UrlSessionDelegate> delegate_;
    std::weak_ptr<UrlSessionDelegate> formerDelegate_;
    std::size_t unfinishedTasks_ = 0;
    std::map<std::string, Places> placesByOrigin_;
};

} // namespace Platform
