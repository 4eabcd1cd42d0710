#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

namespace Quenmark {

/// A moment at which the service can be killed: one of its threads enters a system call, which has no effect any more.
struct KillPoint {
    /// The name of the system call.
    std::string call;
    /// Which call of that name it is, counted from 1, in the thread that makes it.
    std::size_t occurrence = 0;
    /// The call as it was recorded.
    std::string text;

    /// The command that runs a program, kills it at this moment, and writes the calls of that name to a file.
    std::vector<std::string> tracer(const std::string& file) const;
};

inline std::ostream& operator<<(std::ostream& stream, const KillPoint& point) {
    return stream << point.call << " number " << point.occurrence << ": " << point.text;
}

namespace KillPoints {

/// The command that runs a program and writes all its system calls to a file.
std::vector<std::string> recorder(const std::string& file);

/// The moments of a recording from the first call that holds `poll` on, up to the next one behind the `items`th that
/// holds `acknowledgement`; none while there is no such call.
std::vector<KillPoint> ofDelivery(const std::string& file, std::string_view poll, std::string_view acknowledgement,
                                  std::size_t items);

/// All of them where the environment has QUENMARK_KILLS=all, otherwise a twentieth, drawn by QUENMARK_KILLS_SEED, or
/// by chance, and by the name of the case. Prints the seed.
std::vector<KillPoint> drawn(std::vector<KillPoint> points, const std::string& nameOfCase);

} // namespace KillPoints
} // namespace Quenmark
