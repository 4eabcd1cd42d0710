#pragma once

#include "Platform/Loop/Queue.h"
#include "Services/Result.h"
#include "Support/LogCapture.h"

#include <cstdint>
#include <functional>
#include <vector>

namespace ServicesTests {

/// Keeps what a connector's `finished` was called with, and where and when it was.
template <class Response>
class Reports {
public:
    struct Report {
        Quenmark::Result<Response> result;
        std::uint64_t status;
        Platform::Queue queue;
        /// How many entries the log had.
        std::size_t logEntries;
    };

    explicit Reports(const TestSupport::LogCapture& log) : log_(log) {}

    std::function<void(Quenmark::Result<Response>, std::uint64_t)> handler() {
        return [this](Quenmark::Result<Response> result, std::uint64_t status) {
            all.push_back({std::move(result), status, Platform::Queue::current(), log_.entries().size()});
        };
    }

    std::vector<Report> all;

private:
    const TestSupport::LogCapture& log_;
};

} // namespace ServicesTests
