#pragma once

#include "Services/Coding.h"

#include <type_traits>

namespace Quenmark {

/// How an operation is carried out.
enum class OperationVariant {
    /// A JSON object is posted, and the response decoded into a record.
    Post,
    /// The list that `encode` puts under "syncData" is posted bare; the response is a list too.
    PostList,
    /// As Post; the handler receives the bare status instead of a record.
    PostForStatus,
    /// As Post, with the undecoded response passed on; does nothing on releases before 10.10.
    RawStream,
    /// A file is sent, the record's fields travel in header fields; does nothing on releases before 10.10.
    HeaderUpload,
};

/// What an operation logs besides what its connector logs. A null pointer logs nothing.
struct OperationLog {
    /// In front of the parameters' text, before the request.
    const char* parameters = nullptr;
    /// In front of the text of the connector's completion, before the handler is called.
    const char* completion = nullptr;
    /// After the handler was called, by status.
    const char* failure = nullptr;
    const char* success = nullptr;
};

/// Stands for the response of an operation that decodes none.
struct RawResponse {};

/// The function that decodes a response; nil for a raw one.
template <class Response>
constexpr auto decoderOf() -> Response (*)(boost::json::value&&) {
    if constexpr (std::is_same_v<Response, RawResponse>)
        return nullptr;
    else
        return &decode<Response>;
}

/// All there is to say of an operation: a row of the catalogue.
template <class Q, class R>
struct Operation {
    /// The request's record, or a list of them.
    using Query = Q;
    /// What the handler receives when the status is `RestStatusSuccess`.
    using Response = R;

    /// The name of the facade's function.
    const char* name = nullptr;
    /// The keyword of its completion handler.
    const char* handlerKeyword = "withCompletionHandler";
    /// The path below the service root.
    const char* path = nullptr;
    boost::json::object (*encode)(const Query&) = &Quenmark::encode;
    Response (*decode)(boost::json::value&&) = decoderOf<Response>();
    OperationVariant variant = OperationVariant::Post;
    OperationLog log{};
};

} // namespace Quenmark
