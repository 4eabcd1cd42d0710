// The C library's <netinet/tcp.h>, which other files need, lacks this counter, and excludes the kernel's header.
#include "Support/SentSegments.h"

#include <linux/tcp.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <system_error>

namespace webservice::test {

std::uint32_t sentSegments(int socket) {
    tcp_info info{};
    socklen_t length = sizeof info;
    if (::getsockopt(socket, IPPROTO_TCP, TCP_INFO, &info, &length) != 0)
        throw std::system_error(errno, std::generic_category(), "TCP_INFO");
    return info.tcpi_data_segs_out;
}

} // namespace webservice::test
