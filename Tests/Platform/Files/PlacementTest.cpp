// How an item of a private area is put into its place: it is durable there, or not there at all.

#include "Platform/Files/Files.h"
#include "Platform/Files/Flush.h"
#include "Platform/Files/PrivateArea.h"
#include "Support/FailingCalls.h"
#include "Support/ScopedEnvironment.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

namespace {

namespace Files = Platform::Files;
namespace Flush = Platform::Flush;
using Platform::Error;
using TestSupport::runWithFailingCalls;

class APlacement : public testing::Test {
protected:
    APlacement() { shared.write("Area/a", "content"); }
    Platform::PrivateArea area() const { return {shared.path() + "/", "Area"}; }
    std::string from() const { return shared.path("Area/a"); }
    std::string to() const { return home.path("a"); }
    std::optional<Error> place() const { return area().placeItem(from(), to()); }
    /// Places the item while those calls fail, and asserts that it is neither here nor there afterwards.
    void expectNothingIsLeft(const std::vector<long>& calls) {
        std::optional<Error> error;
        runWithFailingCalls(calls, EIO, [&] { error = place(); });
        EXPECT_TRUE(Flush::hasFailed(error));
        EXPECT_EQ(error->code, EIO);
        EXPECT_FALSE(Files::exists(from()));
        EXPECT_FALSE(Files::exists(to()));
        EXPECT_EQ(std::get<0>(Files::contentsOfDirectory(home.path())), std::vector<std::string>{});
    }

    TestSupport::TemporaryDirectory shared;
    TestSupport::TemporaryDirectory home;
};

TEST_F(APlacement, MovesAFile) {
    EXPECT_EQ(place(), std::nullopt);
    EXPECT_EQ(home.read("a"), "content");
    EXPECT_FALSE(Files::exists(from()));
}

TEST_F(APlacement, MovesAFolderWithAllThatIsInIt) {
    shared.write("Area/Docs/b", "content");
    EXPECT_EQ(area().placeItem(shared.path("Area/Docs"), home.path("Docs")), std::nullopt);
    EXPECT_EQ(home.read("Docs/b"), "content");
}

TEST_F(APlacement, LeavesNothingWhereTheBytesCannotBeFlushed) {
    expectNothingIsLeft({SYS_fdatasync});
}

TEST_F(APlacement, LeavesNothingWhereTheFolderCannotBeFlushed) {
    expectNothingIsLeft({SYS_fsync});
}

TEST_F(APlacement, LeavesAFolderWhereItCannotBeFlushed) {
    shared.write("Area/Docs/b", "content");
    std::optional<Error> error;
    runWithFailingCalls({SYS_syncfs}, EIO,
                        [&] { error = area().placeItem(shared.path("Area/Docs"), home.path("Docs")); });
    EXPECT_EQ(error, (Error{"POSIX flush", EIO, shared.path("Area/Docs") + ": Input/output error"}));
    EXPECT_EQ(shared.read("Area/Docs/b"), "content");
    EXPECT_FALSE(Files::exists(home.path("Docs")));
}

TEST_F(APlacement, KeepsBothWhereSomethingIsInThePlaceAlreadyAndFlushesThat) {
    home.write("a", "older");
    EXPECT_EQ(place(), (Error{"POSIX", EEXIST, to() + ": File exists"}));
    EXPECT_EQ(home.read("a"), "older");
    EXPECT_EQ(shared.read("Area/a"), "content");
    std::optional<Error> error;
    runWithFailingCalls({SYS_fsync}, EIO, [&] { error = place(); });
    EXPECT_EQ(error, (Error{"POSIX flush", EIO, home.path() + ": Input/output error"}));
    EXPECT_EQ(home.read("a"), "older") << "what was there is not this item's";
    EXPECT_FALSE(Files::exists(from()));
}

TEST_F(APlacement, FailsAsAMoveDoesWhereTheFolderIsMissing) {
    EXPECT_EQ(area().placeItem(from(), home.path("no/a")),
              (Error{"POSIX", ENOENT, from() + ": No such file or directory"}));
    EXPECT_EQ(shared.read("Area/a"), "content");
}

TEST_F(APlacement, MovesAFileThatCanOnlyBeWrittenTo) {
    ASSERT_EQ(::chmod(from().c_str(), 0200), 0);
    EXPECT_EQ(place(), std::nullopt);
    EXPECT_TRUE(Files::exists(to()));
}

/// The place is on another file system than the area.
class ADistantPlacement : public APlacement {
protected:
    std::string distant() const { return memory.path("a"); }
    std::optional<Error> placeFar() const { return area().placeItem(from(), distant()); }

private:
    TestSupport::ScopedEnvironment environment{{"TMPDIR", "/dev/shm"}};

protected:
    TestSupport::TemporaryDirectory memory;
};

TEST_F(ADistantPlacement, CopiesAFile) {
    EXPECT_EQ(placeFar(), std::nullopt);
    EXPECT_EQ(memory.read("a"), "content");
    EXPECT_FALSE(Files::exists(from()));
}

TEST_F(ADistantPlacement, CopiesAFolderWithAllThatIsInIt) {
    shared.write("Area/Docs/b", "content");
    EXPECT_EQ(area().placeItem(shared.path("Area/Docs"), memory.path("Docs")), std::nullopt);
    EXPECT_EQ(memory.read("Docs/b"), "content");
    EXPECT_FALSE(Files::exists(shared.path("Area/Docs")));
}

TEST_F(ADistantPlacement, LeavesNothingWhereTheCopyCannotBeFlushed) {
    std::optional<Error> error;
    runWithFailingCalls({SYS_fsync}, EIO, [&] { error = placeFar(); });
    EXPECT_TRUE(Flush::hasFailed(error));
    EXPECT_FALSE(Files::exists(from()));
    EXPECT_EQ(std::get<0>(Files::contentsOfDirectory(memory.path())), std::vector<std::string>{});
}

TEST_F(ADistantPlacement, LeavesNothingWhereTheCopyOfAFolderCannotBeFlushed) {
    shared.write("Area/Docs/b", "content");
    std::optional<Error> error;
    runWithFailingCalls({SYS_fsync}, EIO,
                        [&] { error = area().placeItem(shared.path("Area/Docs"), memory.path("Docs")); });
    EXPECT_TRUE(Flush::hasFailed(error));
    EXPECT_EQ(shared.read("Area/Docs/b"), "content");
    EXPECT_EQ(std::get<0>(Files::contentsOfDirectory(memory.path())), std::vector<std::string>{});
}

} // namespace
