#pragma once

#include "Platform/Json.h"
#include "Services/Operation.h"
#include "Services/RestInterface.h"
#include "Services/ServiceContext.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <type_traits>
#include <utility>

/// Carries out what a row of the catalogue says.
namespace Quenmark {

/// Calls an operation's handler with the response's record, or with the error. Returns whether it was a record.
using Delivery = std::function<bool(Result<boost::json::value> response, std::int64_t status)>;
/// The status line and header fields of an undecoded response, nil where the status is not `RestStatusSuccess`; its
/// complete body, or the error.
using RawDelivery = std::function<void(std::optional<Platform::HttpUrlResponse> response, Result<Platform::Data> body,
                                       std::int64_t status)>;

/// Posts the parameters with the connector for the variant and release, and delivers the response. Does nothing if the
/// release does not support the variant. Called on another thread, it posts itself to the loop.
void carryOut(OperationVariant variant, const char* path, const OperationLog& log, boost::json::object params,
              Delivery deliver, const ServiceContext& context);
/// As `carryOut`, for `OperationVariant::RawStream`: passes on the undecoded response.
void carryOutRaw(const char* path, boost::json::object params, RawDelivery deliver, const ServiceContext& context);

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

/// Performs the operation as the facade's function of its name does. The row has to outlive the call.
template <class Query, class Response>
void perform(const Operation<Query, Response>& operation, const std::type_identity_t<Query>& query,
             std::type_identity_t<CompletionHandler<Response>> handler, const ServiceContext& context = {}) {
    carryOut(
        operation.variant, operation.path, operation.log, operation.encode(query),
        [&operation, handler = std::move(handler)](Result<boost::json::value> response, std::int64_t status) {
            if (status != RestStatusSuccess) {
                const auto* error = response.error();
                handler(error != nullptr ? Result<Response>(*error) : Result<Response>(), status);
                return false;
            }
            // Nil has no entries, and gives a record whose fields are all nil.
            auto* json = response.value();
            auto record = decodeResponse(operation, json != nullptr ? std::move(*json)
                                                                    : boost::json::value(boost::json::object_kind));
            const bool fits = record.error() == nullptr;
            handler(std::move(record), fits ? RestStatusSuccess : RestStatusDecodeError);
            return fits;
        },
        context);
}

/// As `perform`, for an operation whose response is not decoded; the facade's handler gets no error.
template <class Query>
void performRaw(const Operation<Query, RawResponse>& operation, const std::type_identity_t<Query>& query,
                RawDelivery deliver, const ServiceContext& context = {}) {
    carryOutRaw(operation.path, operation.encode(query), std::move(deliver), context);
}

template <class Query>
void perform(const Operation<Query, RawResponse>& operation, const std::type_identity_t<Query>& query,
             RestInterface::RawCompletionHandler handler, const ServiceContext& context = {}) {
    performRaw(
        operation, query,
        [handler = std::move(handler)](std::optional<Platform::HttpUrlResponse> response, Result<Platform::Data> body,
                                       std::int64_t status) {
            auto* bytes = body.value();
            handler(std::move(response), bytes != nullptr ? std::optional(std::move(*bytes)) : std::nullopt, status);
        },
        context);
}

} // namespace Quenmark
