#include "Services/OperationCall.h"

#include "Platform/Log.h"
#include "Platform/Loop/Queue.h"
#include "Platform/Loop/RunLoop.h"
#include "Platform/Text.h"
#include "Services/JsonPost.h"
#include "Services/RestConnector.h"
#include "Services/RestConnector_Old.h"
#include "Services/ServicesUtilities.h"

#include <memory>
#include <string>
#include <utility>

namespace Quenmark {

namespace {

/// Whether operations of the variant are carried out on the release of the context.
bool isCarriedOut(OperationVariant variant, const ServiceContext& context) {
    const bool isStream = variant == OperationVariant::RawStream || variant == OperationVariant::HeaderUpload;
    return !isStream || !ServicesUtilities::isLessThan10_10(context.settings());
}

/// Posts the parameters with the connector for the variant and release, which must be a supported combination.
void startRequest(OperationVariant variant, const char* path, boost::json::object params, JsonPost::Finished finished,
                  const ServiceContext& context) {
    if (variant == OperationVariant::HeaderUpload)
        return std::make_shared<RestConnector>(context)->startAsyncUploadWithStreamRequest(path, params, nullptr,
                                                                                           std::move(finished));
    const boost::json::value body =
        variant == OperationVariant::PostList ? std::move(params["syncData"]) : boost::json::value(std::move(params));
    if (ServicesUtilities::isLessThan10_10(context.settings()))
        std::make_shared<RestConnector_Old>(context)->startAsyncTask(path, body, nullptr, std::move(finished));
    else
        std::make_shared<RestConnector>(context)->startAsyncTask(path, body, nullptr, std::move(finished));
}

void logIfAny(const char* entry, Platform::Log::Priority priority) {
    if (entry != nullptr)
        Platform::Log::write(entry, priority);
}

} // namespace

void carryOut(OperationVariant variant, const char* path, const OperationLog& log, boost::json::object params,
              Delivery deliver, const ServiceContext& context) {
    if (!Platform::RunLoop::isCurrentThread())
        return Platform::Queue::main().async(
            [variant, path, log, params = std::move(params), deliver = std::move(deliver), context]() mutable {
                carryOut(variant, path, log, std::move(params), std::move(deliver), context);
            });
    if (!isCarriedOut(variant, context))
        return;
    if (log.parameters != nullptr)
        Platform::Log::write(log.parameters + Platform::text(params));
    startRequest(
        variant, path, std::move(params),
        [log, deliver = std::move(deliver)](Result<boost::json::value> response, std::uint64_t status) {
            if (log.completion != nullptr)
                Platform::Log::write(log.completion + std::string("<completion handler>"));
            if (deliver(std::move(response), static_cast<std::int64_t>(status)))
                logIfAny(log.success, Platform::Log::Priority::Info);
            else
                logIfAny(log.failure, Platform::Log::Priority::Error);
        },
        context);
}

void carryOutRaw(const char* path, boost::json::object params, RawDelivery deliver, const ServiceContext& context) {
    if (!Platform::RunLoop::isCurrentThread())
        return Platform::Queue::main().async(
            [path, params = std::move(params), deliver = std::move(deliver), context]() mutable {
                carryOutRaw(path, std::move(params), std::move(deliver), context);
            });
    if (isCarriedOut(OperationVariant::RawStream, context))
        std::make_shared<RestConnector>(context)->startAsyncDownloadWithStreamRequest(path, std::move(params), nullptr,
                                                                                      std::move(deliver));
}

} // namespace Quenmark
