#include "Platform/UrlLoading/HttpSession.h"

#include "Platform/UrlLoading/HttpSessionTask.h"
#include "Platform/UrlLoading/TaskReceiver.h"

#include <algorithm>
#include <utility>

namespace Platform {

HttpSession::HttpSession(UrlSessionConfiguration configuration, std::shared_ptr<UrlSessionDelegate> delegate,
                         Queue queue)
    : configuration_(std::move(configuration)), queue_(std::move(queue)), delegate_(std::move(delegate)),
      formerDelegate_(delegate_),
      slots_(static_cast<std::size_t>(std::max(configuration_.httpMaximumConnectionsPerHost, 1))) {}

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

void HttpSession::acquireSlot(HttpSessionTask& task) {
    if (slots_.acquire(task, task.origin()))
        task.start();
}

void HttpSession::releaseSlot(HttpSessionTask& task) {
    if (HttpSessionTask* next = slots_.release(task))
        next->start();
}

void HttpSession::dropSlot(HttpSessionTask& task) noexcept {
    slots_.release(task);
}

} // namespace Platform
