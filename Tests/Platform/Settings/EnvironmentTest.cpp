#include "Platform/Settings/Environment.h"

#include "Support/ScopedEnvironment.h"

#include <gtest/gtest.h>

#include <pwd.h>
#include <unistd.h>

namespace {

namespace Environment = Platform::Environment;
using TestSupport::ScopedEnvironment;
using Paths = std::vector<std::string>;

TEST(TheHomeDirectory, IsTheOneOfTheEnvironment) {
    const ScopedEnvironment environment{{"HOME", "/home/ann"}};
    EXPECT_EQ(Environment::homeDirectory(), "/home/ann");
}

TEST(TheHomeDirectory, ComesFromTheUserDatabaseWhereTheEnvironmentNamesNoAbsolutePath) {
    const passwd* entry = ::getpwuid(::geteuid());
    ASSERT_NE(entry, nullptr);
    const std::string expected = entry->pw_dir;
    for (const std::optional<std::string>& value :
         {std::optional<std::string>(), std::optional<std::string>(""), std::optional<std::string>("ann")}) {
        const ScopedEnvironment environment{{"HOME", value}};
        EXPECT_EQ(Environment::homeDirectory(), expected);
    }
}

TEST(TheUserName, ComesFromTheUserDatabase) {
    const passwd* entry = ::getpwuid(::geteuid());
    ASSERT_NE(entry, nullptr);
    EXPECT_EQ(Environment::userName(), entry->pw_name);
}

TEST(TheConfigurationHome, IsTheOneOfTheEnvironment) {
    const ScopedEnvironment environment{{"HOME", "/home/ann"}, {"XDG_CONFIG_HOME", "/etc/ann"}};
    EXPECT_EQ(Environment::configHome(), "/etc/ann");
}

TEST(TheConfigurationHome, IsBelowHomeWhereTheEnvironmentNamesNoAbsolutePath) {
    for (const char* value : {"", "config", "./config"}) {
        const ScopedEnvironment environment{{"HOME", "/home/ann"}, {"XDG_CONFIG_HOME", value}};
        EXPECT_EQ(Environment::configHome(), "/home/ann/.config") << value;
    }
    const ScopedEnvironment environment{{"HOME", "/home/ann/"}, {"XDG_CONFIG_HOME", std::nullopt}};
    EXPECT_EQ(Environment::configHome(), "/home/ann/.config");
}

TEST(TheConfigurationDirectories, AreTheAbsoluteOnesOfTheEnvironmentInOrder) {
    const ScopedEnvironment environment{{"XDG_CONFIG_DIRS", "/b:relative::/a:/c/"}};
    EXPECT_EQ(Environment::configDirectories(), (Paths{"/b", "/a", "/c/"}));
}

TEST(TheConfigurationDirectories, AreTheSystemsWhereTheEnvironmentNamesNone) {
    for (const std::optional<std::string>& value :
         {std::optional<std::string>(), std::optional<std::string>(""), std::optional<std::string>("a:b:")}) {
        const ScopedEnvironment environment{{"XDG_CONFIG_DIRS", value}};
        EXPECT_EQ(Environment::configDirectories(), Paths{"/etc/xdg"});
    }
}

TEST(TheTemporaryDirectory, IsTheOneOfTheEnvironmentWithASeparatorBehindIt) {
    for (const char* value : {"/var/tmp", "/var/tmp/"}) {
        const ScopedEnvironment environment{{"TMPDIR", value}};
        EXPECT_EQ(Environment::temporaryDirectory(), "/var/tmp/");
    }
}

TEST(TheTemporaryDirectory, IsInTheCacheOfTheUserWhereTheEnvironmentNamesNone) {
    const ScopedEnvironment environment{{"TMPDIR", "tmp"}, {"XDG_CACHE_HOME", "/cache"}, {"HOME", "/home/ann"}};
    EXPECT_EQ(Environment::temporaryDirectory(), "/cache/quenmark/");
    const ScopedEnvironment without{{"TMPDIR", std::nullopt}, {"XDG_CACHE_HOME", std::nullopt}};
    EXPECT_EQ(Environment::temporaryDirectory(), "/home/ann/.cache/quenmark/");
}

TEST(TheTemporaryDirectory, FollowsTheEnvironmentAtEachCall) {
    ScopedEnvironment environment{{"TMPDIR", "/a"}};
    EXPECT_EQ(Environment::temporaryDirectory(), "/a/");
    environment.set("TMPDIR", "/b");
    EXPECT_EQ(Environment::temporaryDirectory(), "/b/");
}

} // namespace
