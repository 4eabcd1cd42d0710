#pragma once

#include "Services/Record.h"

#include <tuple>

namespace Quenmark {

/// A computer that shares folders with this user.
struct OwnerComputers {
    ResponseField quenmarkPath;
    ResponseField cloudPath;
    ResponseField computerId;
    ResponseField isAdmin;
    ResponseField isCloud;
    ResponseField mailId;
    ResponseField nickName;
    ResponseField status;
    ResponseField userComputerMapId;
    ResponseField userId;
    ResponseField error;

    static constexpr auto fields() {
        return std::tuple{
            Field{"QuenmarkPath", "quenmarkPath", &OwnerComputers::quenmarkPath},
            Field{"CloudPath", "cloudPath", &OwnerComputers::cloudPath},
            Field{"ComputerID", "computerId", &OwnerComputers::computerId},
            Field{"IsAdmin", "isAdmin", &OwnerComputers::isAdmin},
            Field{"IsCloud", "isCloud", &OwnerComputers::isCloud},
            Field{"MailID", "mailId", &OwnerComputers::mailId},
            Field{"NickName", "nickName", &OwnerComputers::nickName},
            Field{"Status", "status", &OwnerComputers::status},
            Field{"UserComputerMapID", "userComputerMapId", &OwnerComputers::userComputerMapId},
            Field{"UserID", "userId", &OwnerComputers::userId},
            Field{notOnTheWire, "error", &OwnerComputers::error},
        };
    }
    bool operator==(const OwnerComputers&) const = default;
};

} // namespace Quenmark
