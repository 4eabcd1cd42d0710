// What the doctor says of the folder that items are placed in, and of the temporary area.

#include "DoctorText.h"
#include "Support/AnotherAccount.h"
#include "Support/FailingCalls.h"
#include "Support/TemporaryHome.h"
#include "Tools/Doctor/FolderChecks.h"
#include "Tools/Doctor/TemporaryChecks.h"
#include "Tools/Sandbox.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

namespace ToolTest {

using namespace Tools;
using Platform::DeploymentSettings;

namespace {

const DeploymentSettings compatible{.serviceHost = "x"};
const DeploymentSettings managed{.serviceHost = "x", .mode = DeploymentSettings::Mode::Managed};

class TheChecksOfTheFolder : public testing::Test {
protected:
    std::string check(const DeploymentSettings& settings = compatible) const {
        return textOf({folderChecks(folder.path(), settings).front()});
    }

    TestSupport::TemporaryDirectory folder;
};

} // namespace

TEST(TheCheckOfFreeSpace, WarnsBelowOneGibibyte) {
    EXPECT_EQ(textOf({spaceCheck("/a\n", 1ULL << 30)}), "ok|free space|1.0 GiB free at /a\\x0A|\n");
    EXPECT_EQ(textOf({spaceCheck("/a", (1ULL << 30) - 1)}),
              "warning|free space|1024.0 MiB free at /a|Free some: a longer item finds no room\n");
    EXPECT_EQ(textOf({spaceCheck("/a", 0)}),
              "failure|free space|0 B free at /a|Free some: what arrives cannot be stored\n");
}

TEST_F(TheChecksOfTheFolder, AreFineWhereItIsThere) {
    ::mkdir(folder.path("Quenmark").c_str(), 0700);
    const auto checks = folderChecks(folder.path(), compatible);
    ASSERT_EQ(checks.size(), 2U);
    EXPECT_EQ(textOf({checks[0]}), "ok|folder|" + folder.path("Quenmark") + "|\n");
    EXPECT_EQ(checks[1].check, "free space");
    EXPECT_TRUE(checks[1].detail.ends_with(" free at " + folder.path("Quenmark"))) << checks[1].detail;
}

TEST_F(TheChecksOfTheFolder, AreAFailureWhereItIsMissing) {
    EXPECT_EQ(check(), "failure|folder|" + folder.path("Quenmark") +
                           " does not exist|Mount its disk, or make it with: quenmark prefs set quenmarkPathKey " +
                           folder.path() + "\n");
    EXPECT_EQ(check(managed), "ok|folder|" + folder.path() + "|\n") << "it makes the Quenmark folder itself";
    EXPECT_EQ(textOf(folderChecks(folder.path("gone"), managed)),
              "failure|folder|" + folder.path("gone") +
                  " does not exist|Mount its disk, or make it with: quenmark prefs set quenmarkPathKey " +
                  folder.path("gone") + "\n");
}

TEST_F(TheChecksOfTheFolder, AreAFailureWhereNoneIsKnown) {
    const std::string expected = "failure|folder|it is not known where items are to be placed|"
                                 "Run: quenmark prefs set quenmarkPathKey FOLDER\n";
    EXPECT_EQ(textOf(folderChecks(std::nullopt, compatible)), expected);
    EXPECT_EQ(textOf(folderChecks("relative", compatible)), expected);
}

TEST_F(TheChecksOfTheFolder, AreAFailureWhereSomethingElseIsThere) {
    folder.write("Quenmark", "");
    EXPECT_EQ(check(), "failure|folder|" + folder.path("Quenmark") + " is no folder|Move away what is there\n");
}

TEST_F(TheChecksOfTheFolder, AreAFailureWhereItCannotBeWrittenTo) {
    ::mkdir(folder.path("Quenmark").c_str(), 0700);
    std::string text;
    TestSupport::runWithFailingCalls({SYS_faccessat, SYS_faccessat2}, EROFS, [&] { text = check(); });
    EXPECT_EQ(text, "failure|folder|cannot be written to: " + folder.path("Quenmark") +
                        ": Read-only file system|Let this user write there, or mount its disk for writing\n");
}

TEST_F(TheChecksOfTheFolder, AreAFailureWhereItCannotBeLookedAt) {
    std::string text;
    TestSupport::runWithFailingCalls({SYS_newfstatat}, EACCES, [&] { text = check(); });
    EXPECT_EQ(text, "failure|folder|" + folder.path("Quenmark") +
                        ": Permission denied|Let this user look into the folders above it\n");
}

TEST_F(TheChecksOfTheFolder, AreAFailureWhereTheSandboxDoesNotLetTheServiceWriteThere) {
    const TestSupport::TemporaryHome home;
    const std::string dropIn = "systemd/user/quenmark.service.d/quenmark-setup.conf";
    ::mkdir(folder.path("Quenmark").c_str(), 0700);
    home.config().write(dropIn, Sandbox::textFor(folder.path()));
    EXPECT_EQ(folderChecks(folder.path(), compatible).size(), 2U);
    home.config().write(dropIn, Sandbox::textFor(home.path()));
    const auto checks = folderChecks(folder.path(), compatible);
    ASSERT_EQ(checks.size(), 3U);
    EXPECT_EQ(textOf({checks[1]}), "failure|sandbox|quenmark.service may not write there by " +
                                       home.config().path(dropIn) + "|Run: quenmark setup\n");
}

namespace {

class TheChecksOfTheTemporaryArea : public testing::Test {
protected:
    TheChecksOfTheTemporaryArea() { ::mkdir(area.c_str(), 0700); }
    std::string checks() const { return textOf(temporaryChecks(home.path())); }
    std::string check() const { return textOf({temporaryChecks(home.path()).front()}); }

    TestSupport::TemporaryHome home;
    const std::string area = home.temporary().path("QuenmarkTemp");
};

} // namespace

TEST_F(TheChecksOfTheTemporaryArea, AreFineWhereItIsPrivate) {
    home.temporary().write("QuenmarkTemp/.claims\\", "");
    home.temporary().write("QuenmarkTemp/.records\\/1", "{}");
    EXPECT_EQ(checks(), "ok|temporary area|" + area + "|\n" +
                            "ok|file system|one for the temporary area and the folder|\n" + "ok|partial files|none|\n");
}

TEST_F(TheChecksOfTheTemporaryArea, AreFineWhereItCanBeMade) {
    ::rmdir(area.c_str());
    EXPECT_EQ(checks(), "ok|temporary area|" + area + ", which the first item makes|\n" +
                            "ok|file system|one for the temporary area and the folder|\n");
    const TestSupport::ScopedEnvironment environment{{"TMPDIR", home.path("not/there")}};
    EXPECT_EQ(check(), "ok|temporary area|" + home.path("not/there/QuenmarkTemp") + ", which the first item makes|\n");
    std::string text;
    TestSupport::runWithFailingCalls({SYS_faccessat, SYS_faccessat2}, EACCES, [&] { text = check(); });
    EXPECT_EQ(text, "failure|temporary area|" + home.path("not/there/QuenmarkTemp") + " cannot be made: " +
                        home.path() + ": Permission denied|Let this user write there, or set TMPDIR for the service\n");
}

TEST_F(TheChecksOfTheTemporaryArea, AreAFailureWhereTheServiceRefusesIt) {
    {
        const TestSupport::OfAnotherAccount given(area);
        EXPECT_EQ(check(), "failure|temporary area|" + area +
                               " belongs to another user|Remove it, or set TMPDIR for the service\n");
    }
    ::rmdir(area.c_str());
    ASSERT_EQ(::symlink(home.path().c_str(), area.c_str()), 0);
    EXPECT_EQ(checks(), "failure|temporary area|" + area +
                            " is a symbolic link, which the service refuses|Remove it\n" +
                            "ok|file system|one for the temporary area and the folder|\n");
    ::unlink(area.c_str());
    home.temporary().write("QuenmarkTemp", "");
    EXPECT_EQ(check(), "failure|temporary area|" + area + " is no folder|Move away what is there\n");
}

TEST_F(TheChecksOfTheTemporaryArea, AreAFailureWhereItCannotBeLookedAt) {
    std::string text;
    TestSupport::runWithFailingCalls({SYS_newfstatat}, EACCES, [&] { text = checks(); });
    EXPECT_EQ(text, "failure|temporary area|" + area + ": Permission denied|Set TMPDIR for the service\n");
}

TEST_F(TheChecksOfTheTemporaryArea, AreAWarningWhereOthersMayLookIntoIt) {
    ::chmod(area.c_str(), 0755);
    EXPECT_EQ(check(), "warning|temporary area|" + area +
                           " has mode 755, so that others may look into it|Run: chmod 700 " + area + "\n");
}

TEST_F(TheChecksOfTheTemporaryArea, AreAFailureWhereItCannotBeWrittenTo) {
    std::string text;
    TestSupport::runWithFailingCalls({SYS_faccessat, SYS_faccessat2}, EACCES, [&] { text = check(); });
    EXPECT_EQ(text, "failure|temporary area|cannot be written to: " + area + ": Permission denied|Run: chmod 700 " +
                        area + "\n");
}

TEST_F(TheChecksOfTheTemporaryArea, AreAWarningWhereTheFolderIsOnAnotherFileSystem) {
    const auto text = textOf(temporaryChecks("/proc"));
    EXPECT_NE(text.find("\nwarning|file system|the temporary area and the folder are on different ones|Each item is "
                        "copied: set TMPDIR for the service to a directory on that of the folder\n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("|free space|"), std::string::npos) << text;
    const auto unknown = textOf(temporaryChecks(std::nullopt));
    EXPECT_EQ(unknown.find("|file system|"), std::string::npos) << unknown;
    EXPECT_NE(unknown.find("|free space|"), std::string::npos) << unknown;
}

TEST_F(TheChecksOfTheTemporaryArea, CountWhatIsThereInPart) {
    home.temporary().write("QuenmarkTemp/a", std::string(1000, 'x'));
    home.temporary().write("QuenmarkTemp/b/c/d", std::string(24, 'x'));
    ASSERT_EQ(::symlink("/", home.temporary().path("QuenmarkTemp/root").c_str()), 0);
    const auto files = partialFilesIn(area);
    EXPECT_EQ(files.count, 3U);
    EXPECT_EQ(files.bytes, 1025U) << "a link has the length of its text";
    EXPECT_FALSE(files.isPart);
    const struct timespec old[2] = {{1000, 0}, {1000, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, home.temporary().path("QuenmarkTemp/a").c_str(), old, 0), 0);
    EXPECT_EQ(partialFilesIn(area).oldest, 1000);
    EXPECT_NE(checks().find("\nwarning|partial files|3, 1.0 KiB; the oldest was written to "), std::string::npos)
        << checks();
}

TEST(TheCheckOfPartialFiles, WarnsAfterADay) {
    EXPECT_EQ(textOf({partialFilesCheck({}, 1000)}), "ok|partial files|none|\n");
    EXPECT_EQ(textOf({partialFilesCheck({1, 2048, 1000, false}, 1060)}),
              "ok|partial files|1, 2.0 KiB; the oldest was written to 1 min ago|\n");
    EXPECT_EQ(textOf({partialFilesCheck({1, 2048, 1000, false}, 900)}),
              "ok|partial files|1, 2.0 KiB; the oldest was written to 0 s ago|\n");
    EXPECT_EQ(textOf({partialFilesCheck({10000, 2048, 1000, true}, 87400)}),
              "warning|partial files|10000 or more, 2.0 KiB; the oldest was written to 1 d ago|They go on when their "
              "items are offered again; run: quenmark stop; and remove those of items that were withdrawn\n");
}

} // namespace ToolTest
