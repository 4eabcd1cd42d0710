#pragma once

#include "Platform/Secret.h"

#include <string>

namespace Tools {

/// A user at the web service.
struct Account {
    std::string user;
    /// Whether the web service says that it has just made it.
    bool isNew = false;
};

/// Signs the user of a mail address in at a web service, which makes the user of an address that it does not know.
/// Throws Failure where it cannot be reached, refuses, or answers with something else. There must be no run loop.
Account signIn(const std::string& host, const std::string& mail, const Platform::Secret& password);

/// Registers one more computer of the user, with the folder that holds its Quenmark folder; the computer's identifier.
/// Throws Failure as `signIn` does.
std::string registerComputer(const std::string& host, const std::string& user, const std::string& path);

} // namespace Tools
