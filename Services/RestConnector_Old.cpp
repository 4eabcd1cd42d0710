#include "Services/RestConnector_Old.h"

#include "Platform/UrlLoading/UrlConnection.h"
#include "Services/Reachability/Reachability.h"
#include "Services/ServiceRoot.h"

#include <utility>

namespace Quenmark {

std::optional<Platform::Url> RestConnector_Old::getAbsoluteURL(std::string_view path) const {
    return absoluteURL(path, context_.settings());
}

void RestConnector_Old::startAsyncTask(std::string_view task, const boost::json::value& params,
                                       ProgressHandler progress, Finished finished) {
    if (!Reachability::isReachable(context_.network()))
        return finished({}, RestStatusNotReachable);
    progressHandler_ = std::move(progress);
    auto body = JsonPost::body(params, "Json String ", JsonPost::priorityOf(task));
    if (body.error() != nullptr)
        return finished(Result<boost::json::value>(*body.error()), RestStatusEncodeError);
    operationQueue_ = Platform::Queue::serial("RestConnector_Old");
    Platform::UrlConnection::sendAsynchronousRequest(
        JsonPost::jsonRequest(getAbsoluteURL(task), std::move(*body.value())), *operationQueue_,
        [self = shared_from_this(), finished = std::move(finished), priority = JsonPost::priorityOf(task)](
            const std::optional<Platform::HttpUrlResponse>& response, const std::optional<Platform::Data>& data,
            const std::optional<Platform::Error>& error) {
            JsonPost::finish(data, error, finished, priority, response);
        });
}

} // namespace Quenmark
