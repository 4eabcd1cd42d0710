#include "Platform/UrlLoading/HttpSession.h"

#include "Platform/UrlLoading/HttpSessionTask.h"
#include "Platform/UrlLoading/TaskReceiver.h"

#include <algorithm>
#include <utility>

namespace Platform {

HttpSession::HttpSession(UrlSessionConfiguration configuration, std::shared_ptr<UrlSessionDelegate> delegate,
                         Queue queue)
    : configuration_(std::move(configuration)), queue_(std::move(queue)), delegate_(std::move(delegate)),
      formerDelegate_(delegate_) {}

std::shared_ptr<UrlSessionTask> HttpSession::makeTask(UrlRequest request, std::unique_ptr<TaskReceiver> receiver,
                                                      std::optional<std::string> bodyFile) {
    auto self = std::static_pointer_cast<HttpSession>(shared_from_this());
    return std::make_shared<HttpSessionTask>(std::move(self), std::move(request), std::move(receiver),
                                             std::move(bodyFile));
}

std::shared_ptr<UrlSessionTask> HttpSession::dataTaskWithRequest(UrlRequest request) {
    return makeTask(std::move(request), nullptr, std::nullopt);
}

std::shared_ptr<UrlSessionTask> HttpSession::dataTaskWithRequest(UrlRequest request, DataHandler completionHandler) {
    return makeTask(std::move(request), std::make_unique<MemoryReceiver>(std::move(completionHandler)), std::nullopt);
}

std::shared_ptr<UrlSessionTask> HttpSession::uploadTaskWithRequest(UrlRequest request, const Url& fromFile,
                                                                   DataHandler completionHandler) {
    // What is no file has no path, and no path is no file's.
    const bool isFile = fromFile.scheme() == "file" || fromFile.scheme().empty();
    return makeTask(std::move(request), std::make_unique<MemoryReceiver>(std::move(completionHandler)),
                    isFile ? fromFile.path() : std::string());
}

std::shared_ptr<UrlSessionTask> HttpSession::uploadTaskWithStreamedRequest(UrlRequest request) {
    request.httpBody.reset();
    return makeTask(std::move(request), nullptr, std::nullopt);
}

std::shared_ptr<UrlSessionTask> HttpSession::downloadTaskWithURL(std::optional<Url> url,
                                                                 DownloadHandler completionHandler) {
    UrlRequest request;
    request.url = std::move(url);
    auto receiver = std::make_unique<FileReceiver>(std::move(completionHandler), configuration_.maximumDownloadLength);
    return makeTask(std::move(request), std::move(receiver), std::nullopt);
}

std::shared_ptr<UrlSessionDelegate> HttpSession::delegate() const {
    return formerDelegate_.lock();
}

void HttpSession::taskWasMade() {
    ++unfinishedTasks_;
    if (!delegate_)
        delegate_ = formerDelegate_.lock();
}

void HttpSession::taskIsDone() {
    if (--unfinishedTasks_ == 0)
        delegate_.reset();
}

void HttpSession::takePlace(const std::shared_ptr<HttpSessionTask>& task) {
    auto& places = placesByOrigin_[task->origin()];
    places.waiting.push_back(task);
    startWaiting(places);
}

void HttpSession::startWaiting(Places& places) const {
    while (!places.waiting.empty() && places.taken < std::max(configuration_.httpMaximumConnectionsPerHost, 1)) {
        const auto next = places.waiting.front().lock();
        places.waiting.pop_front();
        if (!next)
            continue;
        ++places.taken;
        next->start();
    }
}

void HttpSession::leavePlace(HttpSessionTask& task) {
    const auto found = placesByOrigin_.find(task.origin());
    if (found == placesByOrigin_.end())
        return;
    auto& places = found->second;
    if (task.hasStarted())
        --places.taken;
    else
        std::erase_if(places.waiting, [&task](const auto& waiting) { return waiting.lock().get() == &task; });
    startWaiting(places);
    if (places.taken == 0 && places.waiting.empty())
        placesByOrigin_.erase(found);
}

} // namespace Platform
