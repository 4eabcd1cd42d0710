#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// Whom to send a forgotten password.
struct SendPasswordToMailIdQuery {
    RequestField mailId;

    static constexpr auto fields() {
        return std::tuple{
            Field{"MailID", "mailId", &SendPasswordToMailIdQuery::mailId},
        };
    }
    bool operator==(const SendPasswordToMailIdQuery&) const = default;
};

} // namespace Quenmark
