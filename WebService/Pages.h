#pragma once

#include "WebService/Http/Exchange.h"
#include "WebService/State.h"

#include <memory>
#include <string_view>

namespace webservice {

/// Pages for developers, with what a real service would do by itself:
///   GET /status[?computer=X]   how many uploads are in which state, of one computer or of all
///   GET /mails[?to=ADDRESS]    the mails that were recorded instead of being sent, the oldest first
///   GET /errors[?computer=X]   the last hundred reports of LogError, the latest first
///   GET /activate?code=CODE    the address in an activation mail
///   GET /password?code=CODE    the address in a mail with a password: gives a new one, once
///   GET /openapi.json          the description of the operations, for programs
/// Null when the path is none of these.
std::unique_ptr<Exchange> beginPage(State& state, std::string_view path, const Request& request);

} // namespace webservice
