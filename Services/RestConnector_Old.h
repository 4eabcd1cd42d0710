#pragma once

#include "Platform/Loop/Queue.h"
#include "Services/JsonPost.h"
#include "Services/ServiceContext.h"

#include <functional>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

namespace Quenmark {

/// Makes one JSON post to the web service over the older, connection-based transport. The request, the statuses and
/// the log are those of `RestConnector::startAsyncTask`, but the outcome is reported on a queue of the request's own.
/// It must be held by a shared pointer; the request keeps it alive until it has ended.
class RestConnector_Old : public std::enable_shared_from_this<RestConnector_Old> {
public:
    /// Is stored and never called.
    using ProgressHandler = std::function<void()>;
    using Finished = JsonPost::Finished;

    explicit RestConnector_Old(ServiceContext context = {}) : context_(std::move(context)) {}

    /// The address of a path below the service root; nil when it forms no URL.
    std::optional<Platform::Url> getAbsoluteURL(std::string_view path) const;

    void startAsyncTask(std::string_view task, const boost::json::value& params, ProgressHandler progress,
                        Finished finished);

    /// The queue of the last request; nil before the first one.
    const std::optional<Platform::Queue>& operationQueue() const { return operationQueue_; }
    void setOperationQueue(std::optional<Platform::Queue> queue) { operationQueue_ = std::move(queue); }
    const ProgressHandler& progressHandler() const { return progressHandler_; }
    void setProgressHandler(ProgressHandler handler) { progressHandler_ = std::move(handler); }

private:
    ServiceContext context_;
    std::optional<Platform::Queue> operationQueue_;
    ProgressHandler progressHandler_;
};

} // namespace Quenmark
