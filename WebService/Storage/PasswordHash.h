#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace webservice {

/// A text from which the password cannot be told, other than by trying: scrypt (RFC 7914) with a random salt. It costs
/// about 5 ms and 4 MiB, which is little for a password hash: this service is for development. Throws
/// std::runtime_error where there are no random bytes or no memory.
std::string passwordHash(std::string_view password);

/// Whether the hash is one of this password. Costs as much.
bool isPasswordOf(std::string_view hash, std::string_view password);

/// Random bytes of the kernel as hexadecimal digits, two each. Throws std::system_error.
std::string randomDigits(std::size_t bytes);

} // namespace webservice
