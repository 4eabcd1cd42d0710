#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Whom to send the mail that confirms an account.
struct SendActivationMailQuery {
    RequestField mailId;
    RequestField userId;

    static constexpr auto fields() {
        return std::tuple{
            Field{"MailID", "mailId", &SendActivationMailQuery::mailId},
            Field{"UserID", "userId", &SendActivationMailQuery::userId},
        };
    }
    bool operator==(const SendActivationMailQuery&) const = default;
};

} // namespace Quenmark
