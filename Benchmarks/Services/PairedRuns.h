#pragma once

#include <algorithm>
#include <chrono>
#include <cstddef>
#include <vector>

/// Two ways of doing the same, measured in turns, so that what slows the machine down slows both.
namespace PairedRuns {

using Seconds = std::chrono::duration<double>;

struct Medians {
    double ours = 0;
    double peers = 0;
    /// Of the ratios ours : peer's of the single pairs.
    double ratio = 0;
    std::vector<double> ratios;
};

inline double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

template <class Run>
double seconds(const Run& run) {
    const auto start = std::chrono::steady_clock::now();
    run();
    return Seconds(std::chrono::steady_clock::now() - start).count();
}

/// The times in seconds of `pairs` runs of each, after one of each that does not count.
template <class Ours, class Peers>
Medians measure(std::size_t pairs, const Ours& ours, const Peers& peers) {
    ours();
    peers();
    std::vector<double> ourTimes;
    std::vector<double> peersTimes;
    std::vector<double> ratios;
    for (std::size_t pair = 0; pair < pairs; ++pair) {
        // Whoever comes second has a warmer cache and a fuller heap: take turns.
        const bool oursFirst = pair % 2 == 0;
        double our = oursFirst ? seconds(ours) : 0;
        const double peer = seconds(peers);
        our = oursFirst ? our : seconds(ours);
        ourTimes.push_back(our);
        peersTimes.push_back(peer);
        ratios.push_back(our / peer);
    }
    return {median(ourTimes), median(peersTimes), median(ratios), ratios};
}

} // namespace PairedRuns
