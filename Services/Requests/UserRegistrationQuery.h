#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// A user to sign in, or to register.
struct UserRegistrationQuery {
    RequestField mailId;
    RequestField passWord;
    RequestField firstName;
    RequestField lastName;
    RequestField nickName;

    static constexpr auto fields() {
        return std::tuple{
            Field{"MailID", "mailId", &UserRegistrationQuery::mailId},
            Field{"Password", "passWord", &UserRegistrationQuery::passWord},
            Field{"FirstName", "firstName", &UserRegistrationQuery::firstName},
            Field{"LastName", "lastName", &UserRegistrationQuery::lastName},
            Field{"NickName", "nickName", &UserRegistrationQuery::nickName},
        };
    }
    bool operator==(const UserRegistrationQuery&) const = default;
};

} // namespace Quenmark
