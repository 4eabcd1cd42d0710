#include "Servers/Processors.h"

#include <cstddef>

namespace Benchmarks {

Processors::Processors() {
    ::sched_getaffinity(0, sizeof clients, &clients);
    server = clients;
    if (CPU_COUNT(&clients) < 2)
        return;
    std::size_t first = 0;
    while (!CPU_ISSET(first, &clients))
        ++first;
    CPU_ZERO(&server);
    CPU_SET(first, &server);
    CPU_CLR(first, &clients);
}

} // namespace Benchmarks
