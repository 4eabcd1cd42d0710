#pragma once

#include <cstdint>

namespace webservice::test {

/// How many segments with data were sent on a TCP socket (tcp(7), TCP_INFO).
std::uint32_t sentSegments(int socket);

} // namespace webservice::test
