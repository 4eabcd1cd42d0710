#include "Platform/Files/LockFile.h"

#include "Platform/Files/Files.h"
#include "Support/FailingCalls.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <limits>

namespace {

using Platform::Error;
using Platform::LockFile;

class ALockFile : public testing::Test {
protected:
    /// The lock of a key, or the code of the error.
    std::variant<LockFile::Lock, int> lock(std::uint64_t key) const { return lock(mine, key); }
    std::variant<LockFile::Lock, int> lock(const LockFile& file, std::uint64_t key) const {
        auto result = file.lock(area, path, key);
        if (auto* error = std::get_if<Error>(&result))
            return error->code;
        return std::get<LockFile::Lock>(std::move(result));
    }
    static int codeOf(const std::variant<LockFile::Lock, int>& result) {
        const int* code = std::get_if<int>(&result);
        return code != nullptr ? *code : 0;
    }

    TestSupport::TemporaryDirectory folder;
    Platform::PrivateArea area{folder.path() + "/", "Area"};
    std::string path = folder.path("Area/locks");
    LockFile mine;
    LockFile theirs;
};

TEST_F(ALockFile, ExcludesOthersFromAKeyUntilItIsClosed) {
    auto held = lock(7);
    ASSERT_EQ(codeOf(held), 0);
    EXPECT_EQ(codeOf(lock(7)), EAGAIN);
    EXPECT_EQ(codeOf(lock(theirs, 7)), EAGAIN);
    EXPECT_EQ(codeOf(lock(8)), 0);
    EXPECT_EQ(codeOf(lock(6)), 0);
    held = 0;
    EXPECT_EQ(codeOf(lock(7)), 0);
}

TEST_F(ALockFile, HasALockForEveryKey) {
    for (const std::uint64_t key :
         {std::uint64_t{0}, std::numeric_limits<std::uint64_t>::max(), std::numeric_limits<std::uint64_t>::max() / 2,
          std::numeric_limits<std::uint64_t>::max() / 2 + 1})
        EXPECT_EQ(codeOf(lock(key)), 0) << key;
}

TEST_F(ALockFile, IsMadeByALockAndByACountAndNotByALook) {
    EXPECT_EQ(mine.others(path).count, 0);
    EXPECT_FALSE(Platform::Files::exists(path));
    ASSERT_EQ(codeOf(lock(7)), 0);
    EXPECT_EQ(Platform::Files::size(path), 0U);
    mine.count(area, path);
    EXPECT_EQ(Platform::Files::size(path), 1U);
}

TEST_F(ALockFile, CountsWhatOthersHaveCounted) {
    const auto before = mine.others(path);
    mine.count(area, path);
    EXPECT_TRUE(mine.others(path).isUnchangedSince(before));
    EXPECT_EQ(mine.others(path).count, 0);
    EXPECT_EQ(theirs.others(path).count, 1);
    theirs.count(area, path);
    theirs.count(area, path);
    mine.count(area, path);
    EXPECT_EQ(mine.others(path).count, 2);
    EXPECT_FALSE(mine.others(path).isUnchangedSince(before));
    EXPECT_TRUE(mine.others(path).isUnchangedSince(mine.others(path)));
    EXPECT_EQ(std::get<0>(lock(7)).others.count, 2);
}

TEST_F(ALockFile, IsNoLongerTheSameWhereItWasReplaced) {
    mine.count(area, path);
    const auto before = mine.others(path);
    ASSERT_EQ(::rename(path.c_str(), folder.path("old").c_str()), 0);
    EXPECT_FALSE(mine.others(path).isUnchangedSince(before)) << "there is none";
    mine.count(area, path);
    EXPECT_EQ(mine.others(path).count, 0);
    EXPECT_FALSE(mine.others(path).isUnchangedSince(before));
}

TEST_F(ALockFile, HasNoLocksWhereTheAreaIsRefused) {
    ASSERT_EQ(::symlink(folder.path().c_str(), folder.path("Area").c_str()), 0);
    EXPECT_EQ(codeOf(lock(7)), ELOOP);
    mine.count(area, path);
    EXPECT_FALSE(Platform::Files::exists(folder.path("locks")));
}

TEST_F(ALockFile, HasNoLocksWhereTheFileSystemHasNone) {
    int code = 0;
    TestSupport::runWithFailingCalls({SYS_fcntl}, ENOLCK, [&] { code = codeOf(lock(7)); });
    EXPECT_EQ(code, ENOLCK);
    TestSupport::runWithFailingCalls({SYS_fcntl}, EACCES, [&] { code = codeOf(lock(7)); });
    EXPECT_EQ(code, EAGAIN) << "some file systems say so (fcntl(2))";
}

} // namespace
