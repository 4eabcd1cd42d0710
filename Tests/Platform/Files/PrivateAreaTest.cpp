#include "Platform/Files/PrivateArea.h"

#include "Platform/Files/Files.h"
#include "Support/AnotherAccount.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace {

namespace Files = Platform::Files;
using Platform::Error;
using Platform::FileDescriptor;
using Platform::PrivateArea;
using TestSupport::OfAnotherAccount;

/// An area "Area" in a directory that another account may write to.
class APrivateArea : public testing::Test {
protected:
    APrivateArea() {
        ::chmod(shared.path().c_str(), 01777);
        victim.write("secret", "precious");
    }

    std::string path(std::string_view name) const { return shared.path(name); }
    PrivateArea area() const { return {shared.path() + "/", "Area"}; }
    mode_t modeOf(const std::string& name) const {
        struct stat status {};
        return ::lstat(path(name).c_str(), &status) == 0 ? status.st_mode & 07777U : 0U;
    }
    void link(const std::string& target, const std::string& name) const {
        ASSERT_EQ(::symlink(target.c_str(), path(name).c_str()), 0);
    }
    /// Makes the folder of that file, appends to it, and gives the error, or nil.
    std::optional<Error> append(const std::string& name, std::string_view bytes = "+") const {
        area().makeFolderOf(path(name));
        auto opened = area().openToAppend(path(name));
        if (auto* error = std::get_if<Error>(&opened))
            return *error;
        EXPECT_EQ(::write(std::get<FileDescriptor>(opened).get(), bytes.data(), bytes.size()), std::ssize(bytes));
        return std::nullopt;
    }
    Error refused(int code, const std::string& name, const std::string& why) const {
        return {"POSIX", code, path(name) + ": refused, " + why};
    }
    /// That nothing of the victim's has changed.
    void expectUntouched() const {
        EXPECT_EQ(victim.read("secret"), "precious");
        EXPECT_EQ(std::get<0>(Files::contentsOfDirectory(victim.path())), std::vector<std::string>{"secret"});
    }

    TestSupport::TemporaryDirectory shared;
    TestSupport::TemporaryDirectory victim;
    TestSupport::TemporaryDirectory home;
};

constexpr const char* isLink = "it is a symbolic link";
constexpr const char* isAnothers = "it belongs to another user";

TEST_F(APrivateArea, IsMadeWithItsFoldersForThisUserAlone) {
    EXPECT_EQ(append("Area/Docs/Deep/a.txt", "one"), std::nullopt);
    EXPECT_EQ(append("Area/Docs/Deep/a.txt", "two"), std::nullopt);
    EXPECT_EQ(shared.read("Area/Docs/Deep/a.txt"), "onetwo");
    EXPECT_EQ(modeOf("Area"), 0700U);
    EXPECT_EQ(modeOf("Area/Docs"), 0700U);
    EXPECT_EQ(modeOf("Area/Docs/Deep"), 0700U);
}

TEST_F(APrivateArea, GivesItsFilesTheUsersUmask) {
    const mode_t before = ::umask(027);
    EXPECT_EQ(append("Area/a"), std::nullopt);
    ::umask(before);
    EXPECT_EQ(modeOf("Area/a"), 0640U);
}

TEST_F(APrivateArea, IsTightenedWithItsFoldersWhereItIsOpenToOthers) {
    ASSERT_EQ(Files::createDirectory(path("Area/Docs")), std::nullopt);
    ASSERT_EQ(::chmod(path("Area").c_str(), 0777), 0);
    ASSERT_EQ(::chmod(path("Area/Docs").c_str(), 0757), 0);
    EXPECT_EQ(append("Area/Docs/a"), std::nullopt);
    EXPECT_EQ(modeOf("Area"), 0700U);
    EXPECT_EQ(modeOf("Area/Docs"), 0700U);
    EXPECT_EQ(modeOf("."), 01777U) << "the directory itself is not ours to change";
}

TEST_F(APrivateArea, MakesItsDirectoryWhereThatIsMissing) {
    const PrivateArea area(path("cache/product/"), "Area");
    EXPECT_EQ(area.makeFolderOf(path("cache/product/Area/Docs/a")), std::nullopt);
    EXPECT_EQ(modeOf("cache/product/Area/Docs"), 0700U);
}

TEST_F(APrivateArea, MayLieInADirectoryThatIsALink) {
    ASSERT_EQ(::symlink(shared.path().c_str(), home.path("tmp").c_str()), 0);
    const PrivateArea area(home.path("tmp") + "/", "Area");
    EXPECT_EQ(area.makeFolderOf(home.path("tmp/Area/a")), std::nullopt);
    EXPECT_EQ(modeOf("Area"), 0700U);
}

TEST_F(APrivateArea, FollowsNoLinkInAnyComponent) {
    link(victim.path(), "Area");
    EXPECT_EQ(append("Area/secret"), refused(ELOOP, "Area", isLink));
    EXPECT_EQ(append("Area/new/file"), refused(ELOOP, "Area", isLink));
    ASSERT_EQ(::unlink(path("Area").c_str()), 0);
    ASSERT_EQ(Files::createDirectory(path("Area")), std::nullopt);
    link(victim.path(), "Area/Docs");
    EXPECT_EQ(append("Area/Docs/secret"), refused(ELOOP, "Area/Docs", isLink));
    EXPECT_EQ(append("Area/Docs/new/file"), refused(ELOOP, "Area/Docs", isLink));
    link(victim.path("secret"), "Area/a.txt");
    EXPECT_EQ(append("Area/a.txt"), refused(ELOOP, "Area/a.txt", isLink));
    link(victim.path("not-there-yet"), "Area/b.txt");
    EXPECT_EQ(append("Area/b.txt"), refused(ELOOP, "Area/b.txt", isLink));
    expectUntouched();
}

TEST_F(APrivateArea, FollowsNoLinkBesideItOrOutsideOfIt) {
    link(victim.path("secret"), "Areaa.txt");
    EXPECT_EQ(append("Areaa.txt"), refused(ELOOP, "Areaa.txt", isLink));
    link(victim.path(), "Areab");
    EXPECT_EQ(append("Areab/secret"), refused(ELOOP, "Areab", isLink));
    EXPECT_EQ(append("Area/../Areab/secret"), refused(ELOOP, "Area/../Areab", isLink));
    expectUntouched();
}

TEST_F(APrivateArea, HoldsFilesBesideItAndOutsideOfItAllTheSame) {
    EXPECT_EQ(append("Areaa.txt", "a"), std::nullopt);
    EXPECT_EQ(append("Areab/c.txt", "b"), std::nullopt);
    EXPECT_EQ(append("Area/x/../../y/./d.txt", "c"), std::nullopt);
    EXPECT_EQ(shared.read("Areaa.txt"), "a");
    EXPECT_EQ(shared.read("Areab/c.txt"), "b");
    EXPECT_EQ(shared.read("y/d.txt"), "c");
    const std::string outside = "Area/../../" + Files::lastPathComponent(home.path()) + "/e.txt";
    EXPECT_EQ(append(outside, "d"), std::nullopt);
    EXPECT_EQ(home.read("e.txt"), "d");
}

TEST_F(APrivateArea, RefusesAFileThatHasAnotherName) {
    ASSERT_EQ(Files::createDirectory(path("Area")), std::nullopt);
    ASSERT_EQ(::link(victim.path("secret").c_str(), path("Area/a.txt").c_str()), 0);
    EXPECT_EQ(append("Area/a.txt"), refused(EMLINK, "Area/a.txt", "it is a file that has another name as well"));
    EXPECT_EQ(area().size(path("Area/a.txt")), std::nullopt);
    EXPECT_EQ(area().placeItem(path("Area/a.txt"), home.path("a"))->code, EMLINK);
    expectUntouched();
}

TEST_F(APrivateArea, RefusesWhatIsNoFile) {
    ASSERT_EQ(Files::createDirectory(path("Area/folder")), std::nullopt);
    ASSERT_EQ(::mkfifo(path("Area/fifo").c_str(), 0600), 0);
    EXPECT_EQ(append("Area/folder")->code, EISDIR);
    EXPECT_EQ(append("Area/fifo")->code, ENXIO);
    const FileDescriptor reader(::open(path("Area/fifo").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    EXPECT_EQ(append("Area/fifo")->code, EINVAL);
    EXPECT_EQ(area().placeItem(path("Area/fifo"), home.path("a"))->code, EINVAL);
    for (const char* name : {"Area", "Area/", "Area/.", "Area/..", "Area/folder/"})
        EXPECT_EQ(append(name)->code, EISDIR) << name;
    EXPECT_EQ(append("Area/fifo/a")->code, ENOTDIR);
}

TEST_F(APrivateArea, HoldsNoFileOfAnotherDirectoryOrWithAZeroByte) {
    EXPECT_EQ(area().makeFolderOf("/elsewhere/a")->code, EINVAL);
    EXPECT_EQ(append(std::string("Area/a\0b", 8))->code, ENOENT);
    EXPECT_FALSE(Files::exists(path("Area")));
}

TEST_F(APrivateArea, RefusesWhatBelongsToAnotherUser) {
    shared.write("Area/Docs/a.txt", "");
    shared.write("Areab/c.txt", "");
    shared.write("Areaa.txt", "");
    for (const std::string name : {"Area/Docs/a.txt", "Area/Docs", "Area"}) {
        const OfAnotherAccount item(path(name));
        EXPECT_EQ(append("Area/Docs/a.txt"), refused(EPERM, name, isAnothers));
        EXPECT_EQ(area().size(path("Area/Docs/a.txt")), std::nullopt);
        EXPECT_EQ(area().placeItem(path("Area/Docs/a.txt"), home.path("a")), refused(EPERM, name, isAnothers));
    }
    EXPECT_EQ(append("Area/Docs/a.txt"), std::nullopt);
    const OfAnotherAccount folder(path("Areab"));
    EXPECT_EQ(append("Areab/c.txt"), refused(EPERM, "Areab", isAnothers));
    const OfAnotherAccount file(path("Areaa.txt"));
    EXPECT_EQ(append("Areaa.txt"), refused(EPERM, "Areaa.txt", isAnothers));
}

TEST_F(APrivateArea, TellsSizesOfItsOwnItemsAlone) {
    shared.write("Area/a.txt", "12345");
    link(victim.path("secret"), "Area/link");
    EXPECT_EQ(area().size(path("Area/a.txt")), 5U);
    EXPECT_EQ(area().size(path("Area/none")), std::nullopt);
    EXPECT_EQ(area().size(path("no/none")), std::nullopt);
    EXPECT_EQ(area().size(path("Area/link")), std::nullopt);
    EXPECT_EQ(area().size(path("Area")), Files::size(path("Area"))) << "whatever is there has a size";
    EXPECT_FALSE(Files::exists(path("no"))) << "to ask makes nothing";
}

TEST_F(APrivateArea, MovesItsFilesAndFoldersOut) {
    shared.write("Area/a.txt", "content");
    shared.write("Area/Docs/b.txt", "more");
    EXPECT_EQ(area().placeItem(path("Area/a.txt"), home.path("a")), std::nullopt);
    EXPECT_EQ(area().placeItem(path("Area/Docs"), home.path("Docs")), std::nullopt);
    EXPECT_EQ(home.read("a"), "content");
    EXPECT_EQ(home.read("Docs/b.txt"), "more");
    EXPECT_EQ(area().placeItem(path("Area/a.txt"), home.path("b"))->code, ENOENT);
    shared.write("Area/a.txt", "another");
    EXPECT_EQ(area().placeItem(path("Area/a.txt"), home.path("a"))->code, EEXIST);
    EXPECT_EQ(home.read("a"), "content");
}

TEST_F(APrivateArea, MovesNoLink) {
    ASSERT_EQ(Files::createDirectory(path("Area")), std::nullopt);
    link(victim.path("secret"), "Area/a.txt");
    link(victim.path(), "Area/Docs");
    EXPECT_EQ(area().placeItem(path("Area/a.txt"), home.path("a")), refused(ELOOP, "Area/a.txt", isLink));
    EXPECT_EQ(area().placeItem(path("Area/Docs"), home.path("a")), refused(ELOOP, "Area/Docs", isLink));
    EXPECT_EQ(area().placeItem(path("Area/Docs/secret"), home.path("a")), refused(ELOOP, "Area/Docs", isLink));
    EXPECT_EQ(std::get<0>(Files::contentsOfDirectory(home.path())), std::vector<std::string>{});
    expectUntouched();
}

TEST_F(APrivateArea, IsEmptiedOnlyInside) {
    shared.write("Area/Docs/a.txt", "a");
    shared.write("Area/Docs/Deep/b.txt", "b");
    shared.write("other", "c");
    EXPECT_EQ(area().removeContentsOf(path("Area/Docs")), std::nullopt);
    EXPECT_EQ(std::get<0>(Files::contentsOfDirectory(path("Area/Docs"))), std::vector<std::string>{});
    link(victim.path(), "Area/link");
    EXPECT_EQ(area().removeContentsOf(path("Area/link")), refused(ELOOP, "Area/link", isLink));
    EXPECT_EQ(area().removeContentsOf(path("Area/..")).value().code, EINVAL);
    EXPECT_EQ(shared.read("other"), "c");
    expectUntouched();
}

} // namespace
