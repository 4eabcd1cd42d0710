#include "Platform/Files/WriteBack.h"

#include "Platform/Files/Flusher.h"
#include "Platform/Loop/RunLoop.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <future>
#include <optional>

namespace {

using Platform::OutputStream;
using Platform::WriteBack;

/// Keeps all threads of the flusher at work while it lives.
class BusyThreads {
public:
    BusyThreads() {
        for (int thread = 0; thread < Platform::Flusher::maxThreads; ++thread)
            Platform::Flusher::perform(
                [released = released_] {
                    released.wait();
                    return std::nullopt;
                },
                [](const auto&) {});
    }
    BusyThreads(const BusyThreads&) = delete;
    BusyThreads& operator=(const BusyThreads&) = delete;
    ~BusyThreads() { release_.set_value(); }

private:
    std::promise<void> release_;
    std::shared_future<void> released_ = release_.get_future().share();
};

class AWriteBack : public testing::Test {
protected:
    AWriteBack() { stream.open(); }
    /// How many descriptors of this process lead to the file; the disk has one of its own while it is at work.
    std::size_t descriptors() const {
        std::size_t count = 0;
        std::error_code ignored;
        for (const auto& descriptor : std::filesystem::directory_iterator("/proc/self/fd"))
            count += std::filesystem::read_symlink(descriptor, ignored) == path ? 1U : 0U;
        return count;
    }

    Platform::RunLoop loop;
    TestSupport::TemporaryDirectory folder;
    std::string path = std::filesystem::canonical(folder.path()) / "a";
    OutputStream stream{path};
    WriteBack writeBack;
};

TEST_F(AWriteBack, BeginsWithEveryEightMebibytes) {
    std::optional<BusyThreads> busy(std::in_place);
    writeBack.wrote(stream, (8 << 20) - 1);
    EXPECT_EQ(descriptors(), 1U);
    writeBack.wrote(stream, 1);
    EXPECT_EQ(descriptors(), 2U);
    busy.reset();
    ASSERT_TRUE(loop.runUntil([&] { return descriptors() == 1; }));
    for (int turn = 0; turn < 3; ++turn)
        loop.runOnce(std::chrono::seconds(0));
    busy.emplace();
    writeBack.wrote(stream, (8 << 20) - 1);
    EXPECT_EQ(descriptors(), 1U) << "it counts from the last time";
}

TEST_F(AWriteBack, IsNotBegunAgainWhileTheDiskIsAtWork) {
    std::optional<BusyThreads> busy(std::in_place);
    writeBack.wrote(stream, 8 << 20);
    writeBack.wrote(stream, 8 << 20);
    EXPECT_EQ(descriptors(), 2U);
    busy.reset();
    ASSERT_TRUE(loop.runUntil([&] { return descriptors() == 1; }));
    busy.emplace();
    // What was written meanwhile counts.
    EXPECT_TRUE(loop.runUntil([&] {
        writeBack.wrote(stream, 0);
        return descriptors() == 2;
    }));
}

} // namespace
