#pragma once

#include "Platform/Error.h"
#include "Services/RestStatus.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <utility>

namespace Quenmark {

/// What an operation hands to its completion handler: its value, mostly a record, when the status is
/// `RestStatusSuccess`; otherwise nil, or the error that explains why there is none.
template <class Value>
class Result {
public:
    /// Nil.
    Result() = default;
    /// The value, and no error.
    explicit Result(Value value) : value_(std::move(value)) {}
    /// The error, and no value.
    explicit Result(Platform::Error error) : error_(std::move(error)) {}

    /// Whether there is neither a value nor an error.
    bool isNil() const { return !value_ && !error_; }
    /// The value, or a null pointer.
    const Value* value() const { return value_ ? &*value_ : nullptr; }
    /// The value, to take from, or a null pointer.
    Value* value() { return value_ ? &*value_ : nullptr; }
    /// The error, or a null pointer.
    const Platform::Error* error() const { return error_ ? &*error_ : nullptr; }

    bool operator==(const Result&) const = default;

private:
    // One of the two at most. A variant would compile far more slowly, and there is one for each record.
    std::optional<Value> value_;
    std::optional<Platform::Error> error_;
};

/// Called at most once, with the result and a value of `RestStatus`.
template <class Value>
using CompletionHandler = std::function<void(Result<Value>, std::int64_t status)>;

} // namespace Quenmark
