#pragma once

#include "Platform/Error.h"
#include "Services/RestStatus.h"

#include <cstdint>
#include <functional>
#include <utility>
#include <variant>

namespace Quenmark {

/// What an operation hands to its completion handler: its value, mostly a record, when the status is
/// `RestStatusSuccess`; otherwise nil, or the error that explains why there is none.
template <class Value>
class Result {
public:
    Result() = default;
    explicit Result(Value value) : content_(std::move(value)) {}
    explicit Result(Platform::Error error) : content_(std::move(error)) {}

    bool isNil() const { return std::holds_alternative<std::monostate>(content_); }
    /// The value, or a null pointer.
    const Value* value() const { return std::get_if<Value>(&content_); }
    Value* value() { return std::get_if<Value>(&content_); }
    /// The error, or a null pointer.
    const Platform::Error* error() const { return std::get_if<Platform::Error>(&content_); }

    bool operator==(const Result&) const = default;

private:
    std::variant<std::monostate, Value, Platform::Error> content_;
};

/// Called at most once, with the result and a value of `RestStatus`.
template <class Value>
using CompletionHandler = std::function<void(Result<Value>, std::int64_t status)>;

} // namespace Quenmark
