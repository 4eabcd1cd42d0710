#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Whether the mail was sent.
struct SendActivationMailResponseData {
    ResponseField returnStatus;
    ResponseField returnMsg;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ReturnStatus", "returnStatus", &SendActivationMailResponseData::returnStatus},
            Field{"ReturnMsg", "returnMsg", &SendActivationMailResponseData::returnMsg},
            Field{"error", "error", &SendActivationMailResponseData::error},
        };
    }
    bool operator==(const SendActivationMailResponseData&) const = default;
};

} // namespace Quenmark
