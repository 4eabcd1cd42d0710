#pragma once

#include "Platform/Error.h"
#include "Services/RestStatus.h"

#include <cstdint>
#include <functional>
#include <utility>
#include <variant>

namespace Quenmark {

/// What an operation hands to its completion handler: its answer when the status is `RestStatusSuccess`; otherwise
/// nil, or the error that tells why there is none.
template <class Answer>
class Result {
public:
    Result() = default;
    explicit Result(Answer answer) : value_(std::move(answer)) {}
    explicit Result(Platform::Error error) : value_(std::move(error)) {}

    bool isNil() const { return std::holds_alternative<std::monostate>(value_); }
    /// The answer, or a null pointer.
    const Answer* answer() const { return std::get_if<Answer>(&value_); }
    Answer* answer() { return std::get_if<Answer>(&value_); }
    /// The error, or a null pointer.
    const Platform::Error* error() const { return std::get_if<Platform::Error>(&value_); }

    bool operator==(const Result&) const = default;

private:
    std::variant<std::monostate, Answer, Platform::Error> value_;
};

/// Is called at most once, with the result and a value of `RestStatus`.
template <class Answer>
using CompletionHandler = std::function<void(Result<Answer>, std::int64_t status)>;

} // namespace Quenmark
