#include "Report/Report.h"

#include <cstdlib>
#include <fstream>
#include <iomanip>
#include <sstream>
#include <stdexcept>

namespace Report {

namespace {

/// A text of a benchmark, which has no control characters.
std::string quoted(const std::string& text) {
    std::ostringstream stream;
    stream << std::quoted(text);
    return stream.str();
}

} // namespace

void add(const Row& row) {
    const char* path = std::getenv("QUENMARK_BENCHMARK_REPORT");
    if (path == nullptr)
        return;
    std::ofstream file(path, std::ios::app);
    file << "{\"benchmark\": " << quoted(row.benchmark) << ", \"what\": " << quoted(row.what)
         << ", \"peer\": " << quoted(row.peer) << ", \"unit\": " << quoted(row.unit) << ", \"target\": " << row.target
         << ", \"atLeast\": " << (row.isAtLeast ? "true" : "false") << ", \"values\": [";
    const char* separator = "";
    for (const double value : row.values) {
        file << separator << value;
        separator = ", ";
    }
    file << "]}" << std::endl;
    if (!file)
        throw std::runtime_error(std::string("the report cannot be written: ") + path);
}

} // namespace Report
