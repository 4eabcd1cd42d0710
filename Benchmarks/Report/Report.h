#pragma once

#include <string>
#include <vector>

/// What benchmarks hand to the page of all of them (Benchmarks/run).
namespace Report {

/// One thing that was measured. With a peer, the values are ratios of ours to the peer's; without one they have a unit.
struct Row {
    std::string benchmark;
    std::string what;
    std::string peer = {};
    std::string unit = {};
    /// One for each round.
    std::vector<double> values;
    /// The value that is aimed at; 0 where there is none.
    double target = 0;
    /// Whether the target is a lower limit.
    bool isAtLeast = false;
};

/// Adds a row, as a line of JSON, to the file that QUENMARK_BENCHMARK_REPORT names; does nothing without one.
void add(const Row& row);

} // namespace Report
