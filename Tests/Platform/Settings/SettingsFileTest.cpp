#include "Platform/Settings/SettingsFile.h"

#include "Support/LogCapture.h"
#include "Support/TemporaryDirectory.h"

#include <boost/json.hpp>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

namespace SettingsFile = Platform::SettingsFile;
using boost::json::object;
using Entries = std::vector<std::string>;

std::optional<object> readOrLog(const std::string& path) {
    return SettingsFile::valuesOrLog(path, SettingsFile::read(path));
}

class ASettingsFile : public testing::Test {
protected:
    /// What is logged for a file of that content.
    std::string logged(std::string_view content) {
        folder.write("s.json", content);
        log.clear();
        EXPECT_EQ(readOrLog(path), std::nullopt);
        EXPECT_EQ(log.entries().size(), 1U);
        return log.entries().empty() ? std::string() : log.entries().front();
    }
    std::string absent(const std::string& why) const {
        return "A settings file counts as absent: " + path + ": " + why;
    }

    TestSupport::TemporaryDirectory folder;
    std::string path = folder.path("s.json");
    TestSupport::LogCapture log;
};

TEST_F(ASettingsFile, IsReadAsAnObject) {
    folder.write("s.json", "\xEF\xBB\xBF{\"a\": [1]}\n");
    EXPECT_EQ(readOrLog(path), (object{{"a", {1}}}));
    EXPECT_EQ(log.entries(), Entries{});
}

TEST_F(ASettingsFile, MayBeMissingWithoutAWord) {
    EXPECT_EQ(readOrLog(path), std::nullopt);
    EXPECT_EQ(readOrLog(folder.path("no/folder/s.json")), std::nullopt);
    EXPECT_EQ(log.entries(), Entries{});
}

TEST_F(ASettingsFile, IsReportedWithTheByteWhereItIsMalformed) {
    EXPECT_EQ(logged("{\"a\": 1,}"), absent("Not JSON: syntax error at byte 8"));
    EXPECT_EQ(logged("{\"a\": 1"), absent("Not JSON: incomplete JSON at byte 7"));
    EXPECT_EQ(logged(""), absent("Not JSON: incomplete JSON at byte 0"));
    EXPECT_EQ(logged("{} x"), absent("Not JSON: something follows the value at byte 3"));
}

TEST_F(ASettingsFile, IsReportedWhereItHoldsNoObject) {
    EXPECT_EQ(logged("\n [1]"), absent("Not a JSON object: the top level is an array at byte 2"));
    EXPECT_EQ(logged("  17"), absent("Not JSON: the top level is neither an object nor an array at byte 2"));
}

TEST_F(ASettingsFile, IsReportedWhereItIsNestedTooDeep) {
    EXPECT_EQ(logged("{\"a\":" + std::string(100'000, '[')), absent("Not JSON: too deep at byte 516"));
}

TEST_F(ASettingsFile, IsReportedWhereItIsTooLarge) {
    folder.write("s.json", "{}");
    ASSERT_EQ(::truncate(path.c_str(), (16 << 20) + 1), 0);
    EXPECT_EQ(readOrLog(path), std::nullopt);
    EXPECT_EQ(log.entries(), Entries{absent("File too large")});
}

TEST_F(ASettingsFile, MayHaveTheLargestSize) {
    folder.write("s.json", "{}" + std::string((16 << 20) - 2, ' '));
    EXPECT_EQ(readOrLog(path), object{});
}

TEST_F(ASettingsFile, IsReportedWhereItIsNoFile) {
    ASSERT_EQ(::mkdir(path.c_str(), 0700), 0);
    EXPECT_EQ(readOrLog(path), std::nullopt);
    EXPECT_EQ(log.entries(), Entries{absent("Is a directory")});
}

TEST_F(ASettingsFile, IsNotWaitedForWhereItIsAFifo) {
    ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(readOrLog(path), std::nullopt);
    EXPECT_EQ(log.entries(), Entries{absent("Invalid argument")});
}

TEST_F(ASettingsFile, IsReportedWhereALinkLeadsInACircle) {
    ASSERT_EQ(::symlink("s.json", path.c_str()), 0);
    EXPECT_EQ(readOrLog(path), std::nullopt);
    EXPECT_EQ(log.entries(), Entries{absent("Too many levels of symbolic links")});
}

TEST_F(ASettingsFile, IsReportedOnceForEachOfItsStates) {
    folder.write("s.json", "[]");
    for (int time = 0; time < 3; ++time)
        EXPECT_EQ(readOrLog(path), std::nullopt);
    EXPECT_EQ(log.entries().size(), 1U);
    folder.write("s.json", "[ ]");
    for (int time = 0; time < 3; ++time)
        EXPECT_EQ(readOrLog(path), std::nullopt);
    EXPECT_EQ(log.entries().size(), 2U);
}

TEST_F(ASettingsFile, IsReportedAgainWhereItWasGoodInBetween) {
    folder.write("s.json", "[]");
    EXPECT_EQ(readOrLog(path), std::nullopt);
    folder.write("s.json", "{}");
    EXPECT_EQ(readOrLog(path), object{});
    folder.write("s.json", "[]");
    EXPECT_EQ(readOrLog(path), std::nullopt);
    EXPECT_EQ(log.entries().size(), 2U);
}

TEST_F(ASettingsFile, IsReportedApartFromOthers) {
    folder.write("a.json", "[]");
    folder.write("b.json", "[]");
    for (int time = 0; time < 2; ++time) {
        EXPECT_EQ(readOrLog(folder.path("a.json")), std::nullopt);
        EXPECT_EQ(readOrLog(folder.path("b.json")), std::nullopt);
    }
    EXPECT_EQ(log.entries().size(), 2U);
}

/// Is another user, where this one may read everything.
class OrdinaryUser {
public:
    OrdinaryUser() { EXPECT_EQ(::geteuid() == 0 ? ::seteuid(65534) : 0, 0); }
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;
    ~OrdinaryUser() { EXPECT_EQ(::seteuid(::getuid()), 0); }
};

TEST_F(ASettingsFile, IsReportedWhereItMayNotBeRead) {
    folder.write("s.json", "{}");
    ASSERT_EQ(::chmod(folder.path().c_str(), 0755), 0);
    ASSERT_EQ(::chmod(path.c_str(), 0), 0);
    const OrdinaryUser user;
    for (int time = 0; time < 2; ++time)
        EXPECT_EQ(readOrLog(path), std::nullopt);
    EXPECT_EQ(log.entries(), Entries{absent("Permission denied")});
}

TEST_F(ASettingsFile, TakesNeitherDescriptorsNorMemoryHoweverOftenItIsRead) {
    folder.write("s.json", "{\"a\":");
    const int lowest = ::dup(0);
    ::close(lowest);
    for (int time = 0; time < 20'000; ++time)
        EXPECT_EQ(readOrLog(path), std::nullopt);
    EXPECT_EQ(log.entries().size(), 1U);
    const int again = ::dup(0);
    EXPECT_EQ(again, lowest);
    ::close(again);
}

TEST_F(ASettingsFile, IsChangedWithAllElseInItsPlace) {
    folder.write("s.json", R"({"b":[1.5,"x"],"a":null,"n":1343.0})");
    EXPECT_EQ(SettingsFile::change(path,
                                   [](object& values) {
                                       values.insert_or_assign("a", "1");
                                       values.insert_or_assign("z", true);
                                       return true;
                                   }),
              std::nullopt);
    EXPECT_EQ(readOrLog(path), (object{{"b", {1.5, "x"}}, {"a", "1"}, {"n", 1343.0}, {"z", true}}));
    EXPECT_TRUE(folder.read("s.json").starts_with("{\n  \"b\"")) << folder.read("s.json");
}

TEST_F(ASettingsFile, IsMadeWithItsFolderByAChange) {
    const std::string made = folder.path("new/folder/s.json");
    EXPECT_EQ(SettingsFile::change(made,
                                   [](object& values) {
                                       EXPECT_TRUE(values.empty());
                                       values.emplace("a", "1");
                                       return true;
                                   }),
              std::nullopt);
    EXPECT_EQ(folder.read("new/folder/s.json"), "{\n  \"a\" : \"1\"\n}\n");
    struct stat status {};
    ASSERT_EQ(::stat(folder.path("new/folder").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777U, 0700U);
}

TEST_F(ASettingsFile, StaysAsItIsWhereNothingIsChanged) {
    folder.write("s.json", "{ }");
    EXPECT_EQ(SettingsFile::change(path, [](object&) { return false; }), std::nullopt);
    EXPECT_EQ(folder.read("s.json"), "{ }");
}

TEST_F(ASettingsFile, IsNotOverwrittenWhereItIsMalformed) {
    folder.write("s.json", "{\"a\":");
    const auto error = SettingsFile::change(path, [](object&) -> bool { throw std::logic_error("it is changed"); });
    ASSERT_TRUE(error);
    EXPECT_TRUE(error->localizedDescription.starts_with(path + ": ")) << error->localizedDescription;
    EXPECT_EQ(folder.read("s.json"), "{\"a\":");
}

} // namespace
