#include "TopFileUploadXpcService/ManagedFixture.h"

#include "Platform/Files/Files.h"

#include <algorithm>

namespace Quenmark {

void ManagedFixture::expectPollAfter(double seconds, std::size_t number) {
    ASSERT_EQ(count(pollTarget), number - 1);
    // A suspend is looked for every two seconds, so that the clock cannot jump.
    constexpr double step = 1;
    constexpr double moment = 0.001;
    double passed = 0;
    for (; passed + step < seconds; passed += step)
        pass(step);
    pass(seconds - passed - moment);
    EXPECT_EQ(questions(), number - 1) << "too early";
    pass(moment);
    EXPECT_EQ(questions(), number);
    ASSERT_TRUE(waitFor(pollTarget, number));
}

void ManagedFixture::expectFailures(std::size_t last) {
    double wait = 2;
    for (std::size_t poll = 1; poll <= last; ++poll, wait *= 2) {
        ASSERT_TRUE(hasEnded(poll));
        expectPollAfter(wait, poll + 1);
    }
}

bool ManagedFixture::waitForFailure(const std::string& reason) {
    return runUntil([&] {
        const auto& entries = log.entries();
        return std::any_of(entries.begin(), entries.end(), [&](const std::string& entry) {
            return (entry.starts_with(reason + ";") || entry.starts_with(reason + " (")) &&
                   entry.find("; the next attempt follows in ") != std::string::npos;
        });
    });
}

std::vector<std::string> ManagedFixture::records() const {
    const std::string folder = temporary(".records\\");
    return Platform::Files::exists(folder) ? std::get<0>(Platform::Files::contentsOfDirectory(folder))
                                           : std::vector<std::string>{};
}

std::string ManagedFixture::offsetOf(std::size_t number) const {
    const std::string mark = "\"Length\" : \"";
    for (const auto& request : server.requests()) {
        if (request.target != streamTarget || number-- > 0)
            continue;
        const auto begin = request.body.find(mark) + mark.size();
        return request.body.substr(begin, request.body.find('"', begin) - begin);
    }
    return "(no such request)";
}

} // namespace Quenmark
