#include "Platform/Settings/Preferences.h"

#include "Platform/Files/Files.h"
#include "Support/LogCapture.h"
#include "Support/ScopedEnvironment.h"
#include "Support/TemporaryDirectory.h"

#include <boost/json.hpp>
#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cmath>
#include <thread>

namespace {

namespace Preferences = Platform::Preferences;
using boost::json::array;
using boost::json::object;
using boost::json::value;
using Platform::Error;

constexpr const char* domain = "Velkarin.Quenmark";
constexpr const char* domainFile = "config/quenmark/Velkarin.Quenmark.json";

class ThePreferences : public testing::Test {
protected:
    TestSupport::TemporaryDirectory folder;
    TestSupport::ScopedEnvironment environment{{"XDG_CONFIG_HOME", folder.path("config")}};
    TestSupport::LogCapture log;
};

TEST_F(ThePreferences, AreAFileForEachDomain) {
    EXPECT_EQ(Preferences::pathOfDomain(domain), folder.path(domainFile));
    EXPECT_EQ(Preferences::pathOfDomain("TopFileUploadXpcService"),
              folder.path("config/quenmark/TopFileUploadXpcService.json"));
}

TEST_F(ThePreferences, AreAbsentWithoutTheirFile) {
    EXPECT_EQ(Preferences::persistentDomainForName(domain), std::nullopt);
    EXPECT_EQ(Preferences::objectForKey(domain, "computerIdKey"), std::nullopt);
    EXPECT_TRUE(log.entries().empty());
}

TEST_F(ThePreferences, AreReadAnewAtEachRequest) {
    folder.write(domainFile, R"({"computerIdKey": "C-1", "n": null})");
    EXPECT_EQ(Preferences::persistentDomainForName(domain), (object{{"computerIdKey", "C-1"}, {"n", nullptr}}));
    EXPECT_EQ(Preferences::objectForKey(domain, "computerIdKey"), value("C-1"));
    EXPECT_EQ(Preferences::objectForKey(domain, "n"), value(nullptr));
    EXPECT_EQ(Preferences::objectForKey(domain, "userIdKey"), std::nullopt);
    folder.write(domainFile, R"({"computerIdKey": "C-2"})");
    EXPECT_EQ(Preferences::objectForKey(domain, "computerIdKey"), value("C-2"));
}

TEST_F(ThePreferences, AreReadAgainWhereTheirFileIsReplacedByOneOfTheSameSizeAndTime) {
    folder.write(domainFile, R"({"computerIdKey": "C-1"})");
    const std::array<timespec, 2> longAgo{{{1'000'000'000, 0}, {1'000'000'000, 0}}};
    const auto make = [&](const char* name, const char* content) {
        folder.write(name, content);
        EXPECT_EQ(::utimensat(AT_FDCWD, folder.path(name).c_str(), longAgo.data(), 0), 0);
    };
    make(domainFile, R"({"computerIdKey": "C-1"})");
    EXPECT_EQ(Preferences::objectForKey(domain, "computerIdKey"), value("C-1"));
    make("new", R"({"computerIdKey": "C-2"})");
    ASSERT_EQ(::rename(folder.path("new").c_str(), folder.path(domainFile).c_str()), 0);
    EXPECT_EQ(Preferences::objectForKey(domain, "computerIdKey"), value("C-2"));
    make(domainFile, R"({"computerIdKey": "C-3"})");
    EXPECT_EQ(Preferences::objectForKey(domain, "computerIdKey"), value("C-3"));
    ASSERT_EQ(::unlink(folder.path(domainFile).c_str()), 0);
    EXPECT_EQ(Preferences::objectForKey(domain, "computerIdKey"), std::nullopt);
}

/// A value while no file can be opened.
std::optional<value> withoutDescriptors(const char* key) {
    rlimit before{};
    EXPECT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit none{0, before.rlim_max};
    EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &none), 0);
    auto result = Preferences::objectForKey(domain, key);
    EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    return result;
}

TEST_F(ThePreferences, AreReadAgainAfterTheyCouldNotBeRead) {
    // A file of the tree, since nothing but its making sets the time of a file's last change.
    folder.write("config/quenmark/other", "");
    ASSERT_EQ(::symlink(SETTLED_FILE, folder.path(domainFile).c_str()), 0);
    EXPECT_EQ(withoutDescriptors("openapi"), std::nullopt);
    EXPECT_EQ(Preferences::objectForKey(domain, "openapi"), value("3.1.0"));
}

TEST_F(ThePreferences, AreReadOnceWhileTheirFileIsTheSame) {
    folder.write("config/quenmark/other", R"({"openapi": "another"})");
    ASSERT_EQ(::symlink(SETTLED_FILE, folder.path(domainFile).c_str()), 0);
    EXPECT_EQ(Preferences::objectForKey(domain, "openapi"), value("3.1.0"));
    EXPECT_EQ(withoutDescriptors("openapi"), value("3.1.0"));
    ASSERT_EQ(::unlink(folder.path(domainFile).c_str()), 0);
    EXPECT_EQ(Preferences::objectForKey(domain, "openapi"), std::nullopt);
    ASSERT_EQ(::symlink("other", folder.path(domainFile).c_str()), 0);
    EXPECT_EQ(Preferences::objectForKey(domain, "openapi"), value("another"));
}

TEST_F(ThePreferences, AreReadAgainAtOnceWhereTheirFileChangedAMomentAgo) {
    folder.write(domainFile, R"({"computerIdKey": "C-1"})");
    EXPECT_EQ(Preferences::objectForKey(domain, "computerIdKey"), value("C-1"));
    EXPECT_EQ(withoutDescriptors("computerIdKey"), std::nullopt);
}

TEST_F(ThePreferences, CountAsAbsentWhereTheirFileIsMalformedAndSaySoOnce) {
    folder.write(domainFile, "{\"computerIdKey\" \"C-1\"}");
    for (int time = 0; time < 3; ++time)
        EXPECT_EQ(Preferences::persistentDomainForName(domain), std::nullopt);
    EXPECT_EQ(Preferences::objectForKey(domain, "computerIdKey"), std::nullopt);
    EXPECT_EQ(log.entries(), std::vector<std::string>{"A settings file counts as absent: " + folder.path(domainFile) +
                                                      ": Not JSON: syntax error at byte 17"});
}

TEST_F(ThePreferences, HaveNoDomainWithoutAPlainName) {
    folder.write("config/quenmark/.json", "{}");
    folder.write("config/secret.json", "{\"a\":1}");
    for (const std::string name : {"", ".", "..", "../secret", "a/b", "/etc"}) {
        EXPECT_EQ(Preferences::persistentDomainForName(name), std::nullopt) << name;
        EXPECT_EQ(Preferences::setObject(name, "k", 1)->code, EINVAL) << name;
        EXPECT_EQ(Preferences::removeObject(name, "k")->code, EINVAL) << name;
    }
    EXPECT_EQ(Preferences::persistentDomainForName(std::string("a\0b", 3)), std::nullopt);
    EXPECT_EQ(folder.read("config/secret.json"), "{\"a\":1}");
}

TEST_F(ThePreferences, AreWrittenIntoAPrivateFileThatIsMade) {
    EXPECT_EQ(Preferences::setObject(domain, "quenmarkPathKey", "/home/ann"), std::nullopt);
    EXPECT_EQ(folder.read(domainFile), "{\n  \"quenmarkPathKey\" : \"/home/ann\"\n}\n");
    struct stat status {};
    ASSERT_EQ(::stat(folder.path(domainFile).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0600U);
    ASSERT_EQ(::stat(folder.path("config/quenmark").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0700U);
}

TEST_F(ThePreferences, AreWrittenToWhereALinkLeads) {
    folder.write("dotfiles/quenmark.json", R"({"a":1})");
    folder.write("config/quenmark/other", "");
    ASSERT_EQ(::symlink("../../dotfiles/quenmark.json", folder.path(domainFile).c_str()), 0);
    EXPECT_EQ(Preferences::setObject(domain, "a", 2), std::nullopt);
    EXPECT_EQ(folder.read("dotfiles/quenmark.json"), "{\n  \"a\" : 2\n}\n");
    struct stat status {};
    ASSERT_EQ(::lstat(folder.path(domainFile).c_str(), &status), 0);
    EXPECT_TRUE(S_ISLNK(status.st_mode));
}

TEST_F(ThePreferences, KeepOtherKeysAndTheirOrder) {
    folder.write(domainFile, R"({"z": 1, "a": [true], "m": "x"})");
    EXPECT_EQ(Preferences::setObject(domain, "a", array{"p", "q"}), std::nullopt);
    EXPECT_EQ(Preferences::setObject(domain, "b", nullptr), std::nullopt);
    EXPECT_EQ(folder.read(domainFile), "{\n  \"z\" : 1,\n  \"a\" : [\n    \"p\",\n    \"q\"\n  ],\n  \"m\" : \"x\",\n"
                                       "  \"b\" : null\n}\n");
    EXPECT_EQ(Preferences::removeObject(domain, "z"), std::nullopt);
    EXPECT_EQ(folder.read(domainFile),
              "{\n  \"a\" : [\n    \"p\",\n    \"q\"\n  ],\n  \"m\" : \"x\",\n  \"b\" : null\n}\n");
}

TEST_F(ThePreferences, StayUntouchedWhereTheRemovedKeyIsNotThere) {
    folder.write(domainFile, "{\"a\":1}");
    EXPECT_EQ(Preferences::removeObject(domain, "b"), std::nullopt);
    EXPECT_EQ(folder.read(domainFile), "{\"a\":1}");
    EXPECT_EQ(Preferences::removeObject("other", "b"), std::nullopt);
    EXPECT_FALSE(Platform::Files::exists(folder.path("config/quenmark/other.json")));
}

TEST_F(ThePreferences, AreNotOverwrittenWhereTheyAreMalformed) {
    folder.write(domainFile, "{\"a\":1,}");
    const Error expected{"JSON", 3840, folder.path(domainFile) + ": Not JSON: syntax error at byte 7"};
    EXPECT_EQ(Preferences::setObject(domain, "a", 2), expected);
    EXPECT_EQ(Preferences::removeObject(domain, "a"), expected);
    EXPECT_EQ(folder.read(domainFile), "{\"a\":1,}");
}

TEST_F(ThePreferences, AreNotWrittenWithWhatJsonCannotCarry) {
    folder.write(domainFile, "{\"a\":1}");
    EXPECT_EQ(Preferences::setObject(domain, "a", "\xFF")->domain, "JSON");
    EXPECT_EQ(Preferences::setObject(domain, "a", std::nan(""))->domain, "JSON");
    EXPECT_EQ(Preferences::setObject(domain, "\xFF", 1)->domain, "JSON");
    EXPECT_EQ(folder.read(domainFile), "{\"a\":1}");
}

TEST_F(ThePreferences, TellWhyTheyCannotBeWritten) {
    folder.write("config", "a file where the folder should be");
    EXPECT_EQ(Preferences::setObject(domain, "a", 1)->code, EEXIST);
}

TEST_F(ThePreferences, LoseNoChangeOfSeveralThreads) {
    std::vector<std::thread> writers;
    for (int writer = 0; writer < 4; ++writer)
        writers.emplace_back([writer] {
            for (int change = 0; change < 25; ++change) {
                const std::string key = std::to_string(writer) + "-" + std::to_string(change);
                EXPECT_EQ(Preferences::setObject(domain, key, change), std::nullopt);
            }
        });
    for (auto& writer : writers)
        writer.join();
    EXPECT_EQ(Preferences::persistentDomainForName(domain)->size(), 100U);
}

TEST_F(ThePreferences, LoseNoChangeOfSeveralProcesses) {
    std::vector<pid_t> writers;
    for (int writer = 0; writer < 4; ++writer) {
        const pid_t child = ::fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            bool good = true;
            for (int change = 0; change < 25; ++change) {
                const std::string key = std::to_string(writer) + "-" + std::to_string(change);
                good = good && !Preferences::setObject(domain, key, change);
            }
            ::_exit(good ? 0 : 1);
        }
        writers.push_back(child);
    }
    for (const pid_t writer : writers) {
        int status = -1;
        ASSERT_EQ(::waitpid(writer, &status, 0), writer);
        EXPECT_EQ(status, 0);
    }
    EXPECT_EQ(Preferences::persistentDomainForName(domain)->size(), 100U);
    EXPECT_TRUE(log.entries().empty());
}

TEST_F(ThePreferences, AreNeverSeenHalfWritten) {
    ASSERT_EQ(Preferences::setObject(domain, "a", boost::json::string(100'000, 'x')), std::nullopt);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        for (int change = 0; change < 100; ++change)
            Preferences::setObject(domain, "a", boost::json::string(100'000, change % 2 == 0 ? 'y' : 'z'));
        ::_exit(0);
    }
    int status = -1;
    int reads = 0;
    for (; ::waitpid(child, &status, WNOHANG) == 0; ++reads)
        EXPECT_EQ(Preferences::objectForKey(domain, "a").value().get_string().size(), 100'000U);
    EXPECT_EQ(status, 0);
    EXPECT_GT(reads, 0);
    EXPECT_TRUE(log.entries().empty());
}

TEST_F(ThePreferences, TakeSeveralValuesInOneStep) {
    folder.write(domainFile, R"({"z":1,"computerIdKey":"1"})");
    EXPECT_EQ(Preferences::setObjects(domain, {{"userIdKey", "2"}, {"computerIdKey", "3"}}), std::nullopt);
    EXPECT_EQ(folder.read(domainFile), "{\n  \"z\" : 1,\n  \"computerIdKey\" : \"3\",\n  \"userIdKey\" : \"2\"\n}\n");
}

} // namespace
