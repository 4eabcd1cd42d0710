// What setup takes from a person or a file.

#include "Platform/Secret.h"
#include "Support/FailingCalls.h"
#include "Support/TemporaryDirectory.h"
#include "Tools/Failure.h"
#include "Tools/Setup/InputChecks.h"
#include "Tools/Setup/Password.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace ToolTest {

namespace {

using namespace Tools;

/// The message of the failure, with its exit status in front; the password where there is none.
std::string passwordIn(const std::string& source) {
    try {
        return readPassword(source).text();
    } catch (const Failure& failure) {
        return std::to_string(static_cast<int>(failure.status())) + " " + failure.what();
    }
}

} // namespace

TEST(AnInput, IsAHostWithAnOptionalPort) {
    for (const char* host : {"localhost", "127.0.0.1:8080", "[::1]:80", "service.example.org"})
        EXPECT_EQ(InputChecks::ofHost(host), std::nullopt) << host;
    for (const char* host : {"", "http://h", "h/", "h:0", "h:", "a b", "h\n", "ann@h", "::1"})
        EXPECT_EQ(InputChecks::ofHost(host), "is not a host with an optional port, such as 127.0.0.1:8080") << host;
}

TEST(AnInput, IsAMailAddress) {
    for (const char* mail : {"a@b", "ann.lee@example.org", "\"a@b\"@c", "jürgen@example.org"})
        EXPECT_EQ(InputChecks::ofMail(mail), std::nullopt) << mail;
    for (const auto& mail :
         {std::string(), std::string("ann"), std::string("@b"), std::string("a@"), std::string("a b@c"),
          std::string("a@b\n"), std::string("a\xff@b"), std::string("a@b\0", 4), std::string(250, 'a') + "@b.cd"})
        EXPECT_EQ(InputChecks::ofMail(mail), "is not a mail address") << mail;
    EXPECT_EQ(InputChecks::ofMail(std::string(249, 'a') + "@b.cd"), std::nullopt);
}

TEST(AnInput, IsAnIdentifier) {
    for (const auto& identifier : {std::string("7"), std::string("C-1 é"), std::string(256, 'x')})
        EXPECT_EQ(InputChecks::ofIdentifier(identifier), std::nullopt) << identifier;
    EXPECT_EQ(InputChecks::ofIdentifier(""), "is empty");
    EXPECT_EQ(InputChecks::ofIdentifier(std::string(257, 'x')), "is longer than 256 bytes");
    for (const auto& identifier :
         {std::string("\0", 1), std::string("1\x1b"), std::string("\u2028"), std::string("\xff")})
        EXPECT_EQ(InputChecks::ofIdentifier(identifier), "has control characters, or bytes that are not UTF-8");
}

TEST(AnInput, IsAnAbsolutePath) {
    for (const char* path : {"/", "/srv/Grüße 漢", "/a/../b/"})
        EXPECT_EQ(InputChecks::ofFolder(path), std::nullopt) << path;
    for (const char* path : {"", "here", "~/here", " /here"})
        EXPECT_EQ(InputChecks::ofFolder(path), "is not an absolute path") << path;
    for (const auto& path : {std::string("/a\n"), std::string("/\0", 2), std::string("/\x1b[2J"), std::string("/\xff")})
        EXPECT_EQ(InputChecks::ofFolder(path), "has control characters, or bytes that are not UTF-8");
}

class APassword : public testing::Test {
protected:
    std::string file(std::string_view content) const { return folder.write("p", content); }
    std::string problem(const std::string& text) const {
        return "65 the password of --password-file " + folder.path("p") + " " + text;
    }

    TestSupport::TemporaryDirectory folder;
};

TEST_F(APassword, IsAFilesOneLine) {
    EXPECT_EQ(passwordIn(file("s3cr3t")), "s3cr3t");
    EXPECT_EQ(passwordIn(file("s3cr3t\n")), "s3cr3t");
    EXPECT_EQ(passwordIn(file(" s3cr3t \r\n")), " s3cr3t ");
    EXPECT_EQ(passwordIn(file(std::string(1024, 'x') + "\r\n")), std::string(1024, 'x'));
}

TEST_F(APassword, IsNothingElseOfAFile) {
    EXPECT_EQ(passwordIn(file("")), problem("is empty"));
    EXPECT_EQ(passwordIn(file("\n")), problem("is empty"));
    EXPECT_EQ(passwordIn(file("a\nb\n")), problem("has more than one line"));
    EXPECT_EQ(passwordIn(file(std::string("a\0b", 3))), problem("has more than one line"));
    EXPECT_EQ(passwordIn(file("a\xff")), problem("is not UTF-8"));
    EXPECT_EQ(passwordIn(file(std::string(1025, 'x'))), problem("is longer than 1024 bytes"));
    EXPECT_EQ(passwordIn(file(std::string(1027, 'x'))), "66 --password-file " + folder.path("p") + ": File too large");
    EXPECT_EQ(passwordIn(folder.path()), "66 --password-file " + folder.path() + ": Is a directory");
    EXPECT_EQ(passwordIn(folder.path("none")),
              "66 --password-file " + folder.path("none") + ": No such file or directory");
}

TEST_F(APassword, ComesThroughAPipe) {
    const auto path = folder.path("pipe");
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    const int writer = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    // Held open, the pipe would not end; what is too long ends it.
    ASSERT_EQ(::write(writer, std::string(2000, 'x').data(), 2000), 2000);
    EXPECT_EQ(passwordIn(path), "65 the password of --password-file " + path + " is longer than 1024 bytes");
    ::close(writer);
    std::string text;
    TestSupport::runWithFailingCalls({SYS_openat}, EACCES, [&] { text = passwordIn(path); });
    EXPECT_EQ(text, "66 --password-file " + path + ": cannot be read");
}

TEST_F(APassword, IsAllThatComesThroughAPipe) {
    const auto path = folder.path("pipe");
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    const std::string longest(1024, 'x');
    const std::vector<std::pair<std::string, std::string>> inputs{
        {"s3cr3t\n", "s3cr3t"},
        {longest + "\r\n", longest},
        {longest + "\r\nmore", "65 the password of --password-file " + path + " is longer than 1024 bytes"}};
    for (const auto& [input, password] : inputs) {
        std::thread writer([&, bytes = input] { std::ofstream(path) << bytes; });
        EXPECT_EQ(passwordIn(path), password);
        // Lets the writer end where nobody has opened the pipe.
        const int reader = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        writer.join();
        ::close(reader);
    }
}

} // namespace ToolTest
