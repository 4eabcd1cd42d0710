#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Whether the mail was sent.
struct SendPasswordToMailIdResponseData {
    ResponseField returnStatus;
    ResponseField returnMsg;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"ReturnStatus", "returnStatus", &SendPasswordToMailIdResponseData::returnStatus},
            Field{"ReturnMsg", "returnMsg", &SendPasswordToMailIdResponseData::returnMsg},
            Field{"error", "error", &SendPasswordToMailIdResponseData::error},
        };
    }
    bool operator==(const SendPasswordToMailIdResponseData&) const = default;
};

} // namespace Quenmark
