#include "Platform/UrlLoading/UrlSession.h"

#include "Platform/UrlLoading/HttpSession.h"

#include <utility>

namespace Platform {

// An overrider may keep the handler.
void UrlSessionDelegate::URLSessionTaskDidReceiveChallenge(UrlSession&, UrlSessionTask&,
                                                           // NOLINTNEXTLINE(performance-unnecessary-value-param)
                                                           ChallengeHandler completionHandler) {
    completionHandler(ChallengeDisposition::PerformDefaultHandling);
}

// NOLINTNEXTLINE(performance-unnecessary-value-param)
void UrlSessionDelegate::URLSessionDidReceiveChallenge(UrlSession&, ChallengeHandler completionHandler) {
    completionHandler(ChallengeDisposition::PerformDefaultHandling);
}

void UrlSessionDelegate::URLSessionDownloadTaskDidWriteData(UrlSession&, UrlSessionTask&, std::int64_t, std::int64_t,
                                                            std::int64_t) {}
void UrlSessionDelegate::URLSessionDownloadTaskDidFinishDownloadingToURL(UrlSession&, UrlSessionTask&, const Url&) {}
void UrlSessionDelegate::URLSessionDownloadTaskDidResumeAtOffset(UrlSession&, UrlSessionTask&, std::int64_t,
                                                                 std::int64_t) {}

void UrlSessionDelegate::URLSessionDataTaskDidReceiveData(UrlSession&, UrlSessionTask&, std::string_view) {}

void UrlSessionDelegate::URLSessionTaskDidCompleteWithError(UrlSession&, UrlSessionTask&, const std::optional<Error>&) {
}

std::shared_ptr<UrlSession> UrlSession::sessionWithConfiguration(UrlSessionConfiguration configuration,
                                                                 std::shared_ptr<UrlSessionDelegate> delegate,
                                                                 std::optional<Queue> delegateQueue) {
    auto queue = delegateQueue ? std::move(*delegateQueue) : Queue::serial("url session");
    return std::make_shared<HttpSession>(std::move(configuration), std::move(delegate), std::move(queue));
}

} // namespace Platform
