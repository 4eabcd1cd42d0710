#pragma once

#include <sched.h>

namespace Benchmarks {

/// Two parts of the processors that this program may use, one for the server and one for its clients: where the two
/// share a processor, the clients do more or less of the server's sending, as it happens.
struct Processors {
    cpu_set_t server{};
    cpu_set_t clients{};

    Processors();
};

} // namespace Benchmarks
