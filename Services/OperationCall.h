#pragma once

#include "Platform/Json.h"
#include "Platform/Log.h"
#include "Platform/Loop/Queue.h"
#include "Platform/Loop/RunLoop.h"
#include "Platform/Text.h"
#include "Services/JsonPost.h"
#include "Services/Operation.h"
#include "Services/RestInterface.h"
#include "Services/ServiceContext.h"

#include <string>
#include <type_traits>
#include <utility>

/// Carries out what a row of the catalogue says.
namespace Quenmark {

/// Whether operations of the variant are carried out on the release of the context.
bool isCarriedOut(OperationVariant variant, const ServiceContext& context);
/// Posts the parameters with the connector that the variant and the release ask for. Only for a variant that is
/// carried out.
void startRequest(OperationVariant variant, const char* path, boost::json::object params, JsonPost::Finished finished,
                  const ServiceContext& context);
/// Posts the parameters and passes on the undecoded response. Only where `OperationVariant::RawStream` is carried out.
void startRawRequest(const char* path, boost::json::object params, RestInterface::RawCompletionHandler handler,
                     const ServiceContext& context);

inline void logIfAny(const char* entry, Platform::Log::Priority priority) {
    if (entry != nullptr)
        Platform::Log::write(entry, priority);
}

/// The record of a response, or the error that there is no room for it.
template <class Query, class Response>
Result<Response> decodeResponse(const Operation<Query, Response>& operation, boost::json::value&& response) {
    try {
        return Result<Response>(operation.decode(std::move(response)));
    } catch (const ResponseTooLarge& tooLarge) {
        return Result<Response>(
            Platform::Error{Platform::Json::errorDomain, Platform::Json::errorCode, tooLarge.what()});
    }
}

/// Performs the operation on the loop's thread, later, where this is another one, and returns whether it is.
template <class Operation, class Query, class Handler>
bool postedToLoop(const Operation& operation, const Query& query, const Handler& handler,
                  const ServiceContext& context) {
    if (Platform::RunLoop::isCurrentThread())
        return false;
    Platform::Queue::main().async(
        [&operation, query, handler, context] { perform(operation, query, handler, context); });
    return true;
}

/// Performs the operation as the facade's function of its name does. The row has to outlive the call.
template <class Query, class Response>
void perform(const Operation<Query, Response>& operation, const std::type_identity_t<Query>& query,
             std::type_identity_t<CompletionHandler<Response>> handler, const ServiceContext& context = {}) {
    if (postedToLoop(operation, query, handler, context))
        return;
    if (!isCarriedOut(operation.variant, context))
        return;
    auto params = operation.encode(query);
    if (operation.log.parameters != nullptr)
        Platform::Log::write(operation.log.parameters + Platform::text(params));
    startRequest(
        operation.variant, operation.path, std::move(params),
        [&operation, handler = std::move(handler)](Result<boost::json::value> result, std::uint64_t status) {
            if (operation.log.completion != nullptr)
                Platform::Log::write(operation.log.completion + std::string("<completion handler>"));
            if (status != RestStatusSuccess) {
                const auto* error = result.error();
                handler(error != nullptr ? Result<Response>(*error) : Result<Response>(),
                        static_cast<std::int64_t>(status));
                return logIfAny(operation.log.failure, Platform::Log::Priority::Error);
            }
            // Nil has no entries, and gives a record whose fields are all nil.
            auto* json = result.value();
            auto record = decodeResponse(operation, json != nullptr ? std::move(*json)
                                                                    : boost::json::value(boost::json::object_kind));
            const bool fits = record.error() == nullptr;
            handler(std::move(record), fits ? RestStatusSuccess : RestStatusDecodeError);
            if (!fits)
                return logIfAny(operation.log.failure, Platform::Log::Priority::Error);
            logIfAny(operation.log.success, Platform::Log::Priority::Info);
        },
        context);
}

template <class Query>
void perform(const Operation<Query, RawResponse>& operation, const std::type_identity_t<Query>& query,
             RestInterface::RawCompletionHandler handler, const ServiceContext& context = {}) {
    if (!postedToLoop(operation, query, handler, context) && isCarriedOut(operation.variant, context))
        startRawRequest(operation.path, operation.encode(query), std::move(handler), context);
}

} // namespace Quenmark
