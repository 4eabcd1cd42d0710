#include "Platform/Loop/Watchdog.h"

#include "Platform/Loop/RunLoop.h"
#include "Support/ScopedEnvironment.h"
#include "Support/ServiceManagerSocket.h"
#include "Support/TemporaryDirectory.h"

#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <utility>

namespace Platform {

using std::chrono::milliseconds;
using TestSupport::ServiceManagerSocket;

class AWatchdog : public testing::Test {
protected:
    AWatchdog() { environment.set("NOTIFY_SOCKET", folder.path("notify")); }

    /// The service manager watches a process that has to speak every 20 ms.
    void watch(pid_t process, const char* microseconds = "20000") {
        environment.set("WATCHDOG_PID", std::to_string(process));
        environment.set("WATCHDOG_USEC", microseconds);
    }
    /// Whether the service manager receives something within `time`, and whether it is a sign of life.
    bool hears(milliseconds time = std::chrono::seconds(20)) {
        std::optional<std::string> message;
        loop.runUntil([&] { return (message = manager.receive()).has_value(); }, time);
        EXPECT_EQ(message.value_or("WATCHDOG=1"), "WATCHDOG=1");
        return message.has_value();
    }

    TestSupport::TemporaryDirectory folder;
    ServiceManagerSocket manager{folder.path("notify")};
    TestSupport::ScopedEnvironment environment;
    /// It stands still: a watchdog goes by real time.
    ManualClock clock;
    RunLoop loop{clock};
};

TEST_F(AWatchdog, HearsTheLoopTwiceAnInterval) {
    watch(::getpid());
    const auto start = SystemClock().now();
    const Watchdog watchdog(loop);
    for (int count = 0; count < 5; ++count)
        EXPECT_TRUE(hears());
    EXPECT_GE(SystemClock().now() - start, milliseconds(50));
}

TEST_F(AWatchdog, HearsNothingWhileATaskRuns) {
    watch(::getpid());
    const Watchdog watchdog(loop);
    bool heard = false;
    bool done = false;
    Queue::main().async([&] {
        const auto end = SystemClock().now() + milliseconds(60);
        while (SystemClock().now() < end)
            heard = heard || manager.receive();
        done = true;
    });
    loop.runUntil([&] { return done; });
    EXPECT_FALSE(heard);
    EXPECT_TRUE(hears());
}

TEST_F(AWatchdog, HearsALoopThatIsNeverIdle) {
    watch(::getpid());
    const Watchdog watchdog(loop);
    std::function<void()> again = [&] { Queue::main().async(again); };
    again();
    EXPECT_TRUE(hears());
    EXPECT_TRUE(hears());
}

TEST_F(AWatchdog, IsForTheProcessThatIsWatched) {
    for (const auto& [process, interval] : {std::pair(::getpid() + 1, "20000"), std::pair(::getpid(), "no number"),
                                            std::pair(::getpid(), "0"), std::pair(::getpid(), "")}) {
        watch(process, interval);
        const Watchdog watchdog(loop);
        EXPECT_FALSE(hears(milliseconds(30))) << interval;
    }
    environment.set("WATCHDOG_USEC", std::nullopt);
    const Watchdog watchdog(loop);
    EXPECT_FALSE(hears(milliseconds(30)));
}

TEST_F(AWatchdog, IsSilentOnceItHasEnded) {
    watch(::getpid());
    { const Watchdog watchdog(loop); }
    EXPECT_FALSE(hears(milliseconds(30)));
}

TEST_F(AWatchdog, HearsAProcessWithoutAFreeDescriptor) {
    watch(::getpid());
    const Watchdog watchdog(loop);
    EXPECT_TRUE(hears());
    rlimit usual{};
    ::getrlimit(RLIMIT_NOFILE, &usual);
    const rlimit none{0, usual.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &none);
    const bool hasHeard = hears();
    ::setrlimit(RLIMIT_NOFILE, &usual);
    EXPECT_TRUE(hasHeard);
}

} // namespace Platform
