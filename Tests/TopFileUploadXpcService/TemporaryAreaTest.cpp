// The temporary area, where another account may have prepared it: nothing is written, read or placed through it.

#include "Platform/Files/Files.h"
#include "Support/AnotherAccount.h"
#include "TopFileUploadXpcService/EngineFixture.h"

#include <sys/stat.h>
#include <unistd.h>

namespace Quenmark {

using TestSupport::HttpReply;
namespace Files = Platform::Files;

class ThePreparedArea : public EngineFixture, public ::testing::WithParamInterface<double> {
protected:
    ThePreparedArea() {
        setRelease(GetParam());
        home.write(".bashrc", "precious");
        Files::createDirectory(placed("Docs"));
    }
    std::string area() const { return home.temporary().path("QuenmarkTemp"); }
    std::string victim() const { return home.path(".bashrc"); }
    static void link(const std::string& target, const std::string& path) {
        ASSERT_EQ(::symlink(target.c_str(), path.c_str()), 0);
    }

    /// Lets the file "\Docs\a.txt" come, and asserts that it ends as one whose stream cannot be written, because of
    /// the item at `path`: nothing of the user's is touched and nothing is placed.
    void expectStreamError(int code, const std::string& path, const std::string& why) {
        startStream(
            HttpReply::raw("HTTP/1.1 200 OK\r\nContent-Length: 10\r\nReturnStatus: 0\r\nIsFile: True\r\n\r\n#!evil"));
        ASSERT_TRUE(runUntil([&] { return engineProbe.gateIsOpen(); }));
        EXPECT_EQ(log.count("Bytes Written : -1"), 1U);
        EXPECT_TRUE(log.contains("Stream error: Error Domain=POSIX Code=" + std::to_string(code) + " \"" + path +
                                 ": refused, " + why + "\""));
        server.enqueue(acknowledgeTarget, HttpReply::json("{}"));
        server.send(last(streamTarget).connection, "evil");
        ASSERT_TRUE(waitFor(acknowledgeTarget)) << "a failed move is acknowledged all the same";
        EXPECT_EQ(contentOf(victim()), "precious");
        struct stat status {};
        EXPECT_NE(::lstat(placed("Docs/a.txt").c_str(), &status), 0);
    }

    static constexpr const char* isLink = "it is a symbolic link";
};

TEST_P(ThePreparedArea, IsNotFollowedWhereTheFileIsALink) {
    Files::createDirectory(temporary("Docs"));
    link(victim(), temporary("Docs/a.txt"));
    expectStreamError(ELOOP, temporary("Docs/a.txt"), isLink);
}

TEST_P(ThePreparedArea, IsNotFollowedWhereAFolderInItIsALink) {
    Files::createDirectory(area());
    home.write("a.txt", "mine");
    link(home.path(), temporary("Docs"));
    expectStreamError(ELOOP, temporary("Docs"), isLink);
    EXPECT_EQ(home.read("a.txt"), "mine");
}

TEST_P(ThePreparedArea, IsNotFollowedWhereItIsALinkItself) {
    link(home.path(), area());
    expectStreamError(ELOOP, area(), isLink);
    EXPECT_FALSE(Files::exists(home.path("Docs")));
}

TEST_P(ThePreparedArea, IsNotWrittenToWhereTheFileHasAnotherName) {
    Files::createDirectory(temporary("Docs"));
    ASSERT_EQ(::link(victim().c_str(), temporary("Docs/a.txt").c_str()), 0);
    expectStreamError(EMLINK, temporary("Docs/a.txt"), "it is a file that has another name as well");
}

TEST_P(ThePreparedArea, IsRefusedWhereItBelongsToAnotherUser) {
    Files::createDirectory(area());
    const TestSupport::OfAnotherAccount folder(area());
    expectStreamError(EPERM, area(), "it belongs to another user");
    EXPECT_FALSE(Files::exists(temporary("Docs")));
}

TEST_P(ThePreparedArea, TellsNoOffsetThroughALink) {
    Files::createDirectory(temporary("Docs"));
    link(victim(), temporary("Docs/a.txt"));
    startStream(HttpReply::silence());
    EXPECT_EQ(last(streamTarget).body, "{\n  \"ToComputerID\" : \"7\",\n  \"Length\" : \"0\"\n}");
}

TEST_P(ThePreparedArea, GivesNoLinkToTheQuenmarkFolder) {
    Files::createDirectory(temporary("Docs"));
    link(victim(), temporary("Docs/a.txt"));
    server.enqueue(acknowledgeTarget, HttpReply::json("{}"));
    startStream(HttpReply::ok("", streamHeaders("\\Docs\\a.txt")));
    ASSERT_TRUE(waitFor(acknowledgeTarget));
    struct stat status {};
    EXPECT_NE(::lstat(placed("Docs/a.txt").c_str(), &status), 0);
}

TEST_P(ThePreparedArea, IsNotFollowedBesideItWhereTheNameHasNoSeparatorInFront) {
    link(victim(), home.temporary().path("QuenmarkTempa.txt"));
    server.enqueue(pollTarget, HttpReply::json(item("a.txt")));
    server.enqueue(streamTarget, HttpReply::ok("evil", streamHeaders("a.txt")));
    server.enqueue(acknowledgeTarget, HttpReply::json("{}"));
    start();
    ASSERT_TRUE(waitFor(acknowledgeTarget));
    EXPECT_EQ(contentOf(victim()), "precious");
    EXPECT_TRUE(log.contains("Stream error: Error Domain=POSIX Code=40 \"" +
                             home.temporary().path("QuenmarkTempa.txt") + ": refused, it is a symbolic link\""));
}

TEST_P(ThePreparedArea, IsTightenedWhereItIsTheUsersOwn) {
    Files::createDirectory(area());
    ASSERT_EQ(::chmod(area().c_str(), 0777), 0);
    const mode_t before = ::umask(027);
    enqueueFile(R"(\\Docs\\a.txt)", "\\Docs\\a.txt", "content");
    start();
    ASSERT_TRUE(waitFor(acknowledgeTarget));
    ::umask(before);
    struct stat status {};
    ASSERT_EQ(::stat(area().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0700U);
    ASSERT_EQ(::stat(temporary("Docs").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0700U);
    ASSERT_EQ(::stat(placed("Docs/a.txt").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0640U) << "a placed file has the user's umask";
    EXPECT_EQ(contentOf(placed("Docs/a.txt")), "content");
}

INSTANTIATE_TEST_SUITE_P(Transports, ThePreparedArea, ::testing::Values(release10_10, release10_7), transportName);

} // namespace Quenmark
