#include "Services/OperationCall.h"

#include "Services/RestConnector.h"
#include "Services/RestConnector_Old.h"
#include "Services/ServicesUtilities.h"

#include <memory>

namespace Quenmark {

bool isCarriedOut(OperationVariant variant, const ServiceContext& context) {
    const bool isStream = variant == OperationVariant::RawStream || variant == OperationVariant::HeaderUpload;
    return !isStream || !ServicesUtilities::isLessThan10_10(context.settings());
}

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

void startRawRequest(const char* path, boost::json::object params, RestInterface::RawCompletionHandler handler,
                     const ServiceContext& context) {
    std::make_shared<RestConnector>(context)->startAsyncDownloadWithStreamRequest(
        path, std::move(params), nullptr,
        [handler = std::move(handler)](std::optional<Platform::HttpUrlResponse> response, Result<Platform::Data> data,
                                       std::uint64_t status) {
            if (status == RestStatusSuccess && data.value() != nullptr)
                handler(std::move(response), std::move(*data.value()), RestStatusSuccess);
            else
                handler(std::nullopt, std::nullopt, static_cast<std::int64_t>(status));
        });
}

} // namespace Quenmark
