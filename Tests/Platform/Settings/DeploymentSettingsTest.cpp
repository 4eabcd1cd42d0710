#include "Platform/Settings/DeploymentSettings.h"

#include "Platform/Loop/RunLoop.h"
#include "Platform/Settings/DeploymentReader.h"
#include "Support/LogCapture.h"
#include "Support/ScopedEnvironment.h"
#include "Support/TemporaryHome.h"

#include <gtest/gtest.h>

#include <sys/resource.h>
#include <unistd.h>

#include <filesystem>

namespace {

using Entries = std::vector<std::string>;
using Platform::DeploymentReader;
using Platform::DeploymentSettings;

class TheDeploymentSettings : public testing::Test {
protected:
    /// The settings as a process reads them that has asked for them since the last `restart`.
    DeploymentSettings current() { return reader->current(); }
    /// From here on, the process has not asked yet.
    void restart() { reader.emplace(); }
    /// The settings of a user whose file has that content, as a process reads them at its first use.
    DeploymentSettings read(std::string_view content) {
        home.setDeployment(content);
        restart();
        log.clear();
        return current();
    }
    std::string homeFile() const { return home.config().path("quenmark/deployment.json"); }

    TestSupport::TemporaryDirectory folder;
    TestSupport::TemporaryHome home;
    TestSupport::ScopedEnvironment environment{{"XDG_CONFIG_DIRS", folder.path("first") + ":" + folder.path("second")}};
    TestSupport::LogCapture log;
    std::optional<DeploymentReader> reader{std::in_place};
    const std::string builtInHost = DeploymentReader().current().serviceHost;
};

TEST_F(TheDeploymentSettings, AreTheBuiltInOnesWithoutAFile) {
    EXPECT_FALSE(builtInHost.empty());
    EXPECT_EQ(current().serviceHost, builtInHost);
    EXPECT_EQ(current().appKitVersionNumber, 1343.0);
    EXPECT_EQ(log.entries(), Entries{});
}

TEST_F(TheDeploymentSettings, AreReadFromTheUsersFile) {
    const auto settings = read(R"({"serviceHost": "127.0.0.1:8080", "appKitVersionNumber": 1138.5, "other": []})");
    EXPECT_EQ(settings.serviceHost, "127.0.0.1:8080");
    EXPECT_EQ(settings.appKitVersionNumber, 1138.5);
    EXPECT_EQ(log.entries(), Entries{});
}

TEST_F(TheDeploymentSettings, AreLookedAtOnceInATurnOfTheLoopAndAnewInTheNext) {
    Platform::RunLoop loop;
    std::vector<std::string> hosts;
    const auto look = [&] { hosts.push_back(current().serviceHost); };
    home.setDeployment(R"({"serviceHost": "a.example"})");
    Platform::Queue::main().async([&] {
        look();
        home.setDeployment(R"({"serviceHost": "b.example"})");
        look();
    });
    loop.runOnce(Platform::Duration::zero());
    Platform::Queue::main().async(look);
    loop.runOnce(Platform::Duration::zero());
    home.setDeployment(R"({"serviceHost": "c.example"})");
    look();
    EXPECT_EQ(hosts, (Entries{"a.example", "a.example", "b.example", "c.example"}));
}

TEST_F(TheDeploymentSettings, MayNameAWholeNumber) {
    EXPECT_EQ(read(R"({"appKitVersionNumber": 1138})").appKitVersionNumber, 1138.0);
    EXPECT_EQ(current().serviceHost, builtInHost);
}

TEST_F(TheDeploymentSettings, MayNameHttpsAndTheAuthoritiesThatAreTrusted) {
    EXPECT_EQ(current().serviceScheme, "http");
    EXPECT_EQ(current().certificateAuthorities, std::nullopt);
    for (const auto* scheme : {"https", "HTTPS"}) {
        const auto settings = read(R"({"serviceHost": "a.example", "serviceScheme": ")" + std::string(scheme) +
                                   R"(", "certificateAuthorities": "/etc/own.pem"})");
        EXPECT_EQ(settings.serviceHost, "a.example");
        EXPECT_EQ(settings.serviceScheme, "https");
        EXPECT_EQ(settings.certificateAuthorities, "/etc/own.pem");
    }
    EXPECT_EQ(read(R"({"serviceScheme": "http"})").serviceScheme, "http");
    EXPECT_EQ(log.entries(), Entries{});
}

TEST_F(TheDeploymentSettings, HaveNoHostWhereTheSchemeOrTheAuthoritiesAreWrong) {
    for (const auto* value : {R"("htps")", R"("https://")", R"("")", "true", "null"}) {
        EXPECT_EQ(read(R"({"serviceHost": "a.example", "serviceScheme": )" + std::string(value) + "}").serviceHost, "");
        ASSERT_EQ(log.entries().size(), 1U);
        EXPECT_TRUE(log.entries()[0].starts_with(homeFile() +
                                                 R"(: "serviceScheme" is not "http" or "https"; nothing is sent: )"))
            << log.entries()[0];
    }
    for (const auto* value : {R"("own.pem")", R"("")", "[]"}) {
        EXPECT_EQ(
            read(R"({"serviceHost": "a.example", "certificateAuthorities": )" + std::string(value) + "}").serviceHost,
            "");
        ASSERT_EQ(log.entries().size(), 1U);
        EXPECT_TRUE(log.entries()[0].starts_with(
            homeFile() + R"(: "certificateAuthorities" is not an absolute path; nothing is sent: )"))
            << log.entries()[0];
    }
}

TEST_F(TheDeploymentSettings, ComeFromTheFirstFileThatIsAnObject) {
    folder.write("first/quenmark/deployment.json", R"({"serviceHost": "first.example"})");
    folder.write("second/quenmark/deployment.json", R"({"serviceHost": "second.example", "appKitVersionNumber": 1})");
    EXPECT_EQ(current().serviceHost, "first.example");
    EXPECT_EQ(current().appKitVersionNumber, 1343.0);
    EXPECT_EQ(read(R"({"serviceHost": "home.example"})").serviceHost, "home.example");
}

TEST_F(TheDeploymentSettings, PassOverAMalformedFileAndSaySo) {
    folder.write("first/quenmark/deployment.json", R"({"serviceHost": "first.example"})");
    EXPECT_EQ(read("[]").serviceHost, "first.example");
    EXPECT_EQ(log.entries(), Entries{"A settings file counts as absent: " + homeFile() +
                                     ": Not a JSON object: the top level is an array at byte 0"});
}

TEST_F(TheDeploymentSettings, FollowTheFilesButForTheReleaseNumber) {
    EXPECT_EQ(read(R"({"serviceHost": "a.example", "appKitVersionNumber": 1138})").serviceHost, "a.example");
    home.setDeployment(R"({"serviceHost": "b.example", "appKitVersionNumber": 1343})");
    EXPECT_EQ(current().serviceHost, "b.example");
    EXPECT_EQ(current().appKitVersionNumber, 1138);
    folder.write("second/quenmark/deployment.json", R"({"serviceHost": "second.example"})");
    EXPECT_EQ(current().serviceHost, "b.example");
    ASSERT_EQ(::unlink(homeFile().c_str()), 0);
    EXPECT_EQ(current().serviceHost, "second.example");
    ASSERT_EQ(::unlink(folder.path("second/quenmark/deployment.json").c_str()), 0);
    EXPECT_EQ(current().serviceHost, builtInHost);
    EXPECT_EQ(current().appKitVersionNumber, 1138);
    EXPECT_EQ(log.entries(), Entries{});
}

TEST_F(TheDeploymentSettings, FollowAFileThatAppears) {
    restart();
    EXPECT_EQ(current().serviceHost, builtInHost);
    folder.write("second/quenmark/deployment.json", R"({"serviceHost": "second.example"})");
    EXPECT_EQ(current().serviceHost, "second.example");
    home.setDeployment(R"({"serviceHost": "home.example"})");
    EXPECT_EQ(current().serviceHost, "home.example");
}

/// A limit of open files under which no file can be opened while it lives (EMFILE; setrlimit(2)).
class NoMoreFiles {
public:
    NoMoreFiles() {
        ::getrlimit(RLIMIT_NOFILE, &before_);
        const rlimit none{0, before_.rlim_max};
        ::setrlimit(RLIMIT_NOFILE, &none);
    }
    NoMoreFiles(const NoMoreFiles&) = delete;
    NoMoreFiles& operator=(const NoMoreFiles&) = delete;
    ~NoMoreFiles() { ::setrlimit(RLIMIT_NOFILE, &before_); }

private:
    rlimit before_{};
};

TEST_F(TheDeploymentSettings, HaveNoHostUntilTheirFileCouldBeRead) {
    home.setDeployment(R"({"serviceHost": "a.example", "appKitVersionNumber": 1138})");
    folder.write("first/quenmark/deployment.json", R"({"serviceHost": "first.example"})");
    restart();
    {
        const NoMoreFiles limit;
        EXPECT_EQ(current().serviceHost, "");
        EXPECT_EQ(current().serviceHost, "");
        EXPECT_FALSE(current().hostIsLoopback());
    }
    EXPECT_EQ(log.entries(), Entries{"A settings file cannot be read; the deployment settings are not known, and no "
                                     "request can be sent: " +
                                     homeFile() + ": Too many open files"});
    EXPECT_EQ(current().serviceHost, "a.example");
    EXPECT_EQ(current().appKitVersionNumber, 1138);
}

TEST_F(TheDeploymentSettings, StayAsTheyAreWhileTheirFileCannotBeRead) {
    EXPECT_EQ(read(R"({"serviceHost": "a.example"})").serviceHost, "a.example");
    {
        const NoMoreFiles limit;
        for (int time = 0; time < 3; ++time)
            EXPECT_EQ(current().serviceHost, "a.example");
    }
    EXPECT_EQ(log.entries(), Entries{"A settings file cannot be read; the deployment settings stay as they are: " +
                                     homeFile() + ": Too many open files"});
    EXPECT_EQ(read(R"({"serviceHost": "b.example"})").serviceHost, "b.example");
}

TEST_F(TheDeploymentSettings, AreNotLookedForBehindAFileThatCannotBeRead) {
    // A link in a circle stands for every error that root meets too.
    folder.write("first/quenmark/deployment.json", R"({"serviceHost": "first.example"})");
    home.config().write("quenmark/x", "");
    ASSERT_EQ(::symlink("deployment.json", homeFile().c_str()), 0);
    restart();
    EXPECT_EQ(current().serviceHost, "");
    ASSERT_EQ(::unlink(homeFile().c_str()), 0);
    EXPECT_EQ(current().serviceHost, "first.example");
}

TEST_F(TheDeploymentSettings, ArePassedOverWhereWhatIsThereCanHoldNone) {
    folder.write("first/quenmark/deployment.json", R"({"serviceHost": "first.example"})");
    home.config().write("quenmark", "a file where the folder should be");
    restart();
    EXPECT_EQ(current().serviceHost, "first.example");
    ASSERT_EQ(::unlink(home.config().path("quenmark").c_str()), 0);
    home.config().write("quenmark/deployment.json/x", "a folder where the file should be");
    EXPECT_EQ(current().serviceHost, "first.example");
    EXPECT_EQ(log.entries().size(), 2U);
}

TEST_F(TheDeploymentSettings, ReportAWrongTypeOnceForEachStateOfTheFile) {
    const std::string content = R"({"serviceHost": 17, "appKitVersionNumber": "1138"})";
    read(content);
    for (int time = 0; time < 3; ++time)
        EXPECT_EQ(current().serviceHost, builtInHost);
    EXPECT_EQ(log.entries().size(), 2U) << "one for each value";
    home.setDeployment(content + " ");
    current();
    EXPECT_EQ(log.entries().size(), 4U);
}

TEST_F(TheDeploymentSettings, KeepTheBuiltInValueWhereOneIsOfTheWrongType) {
    EXPECT_EQ(read(R"({"serviceHost": 17, "appKitVersionNumber": 1138})").serviceHost, builtInHost);
    EXPECT_EQ(log.entries(),
              Entries{homeFile() + ": \"serviceHost\" is not a host with an optional port and counts as absent: 17"});
    EXPECT_EQ(current().appKitVersionNumber, 1138.0);
    EXPECT_EQ(read(R"({"appKitVersionNumber": "1138"})").appKitVersionNumber, 1343.0);
    EXPECT_EQ(log.entries(),
              Entries{homeFile() + ": \"appKitVersionNumber\" is not a number and counts as absent: 1138"});
    EXPECT_EQ(read(R"({"serviceHost": null, "appKitVersionNumber": true})").serviceHost, builtInHost);
    EXPECT_EQ(log.entries().size(), 2U);
}

TEST_F(TheDeploymentSettings, NameTheModeThatTheServiceStartsIn) {
    using Mode = DeploymentSettings::Mode;
    EXPECT_EQ(read("{}").mode, Mode::Compatible);
    EXPECT_EQ(read(R"({"mode": "compatible"})").mode, Mode::Compatible);
    EXPECT_EQ(read(R"({"mode": "managed"})").mode, Mode::Managed);
    EXPECT_EQ(log.entries(), Entries{});
    const std::string problem = homeFile() + R"(: "mode" is not "compatible" or "managed" and counts as absent: )";
    for (const auto& [value, text] : {std::pair("\"Managed\"", "Managed"), std::pair("\"\"", ""),
                                      std::pair("true", "1"), std::pair("null", "<null>")}) {
        log.clear();
        EXPECT_EQ(read(R"({"mode": )" + std::string(value) + "}").mode, Mode::Compatible);
        EXPECT_EQ(log.entries(), Entries{problem + text});
    }
}

TEST_F(TheDeploymentSettings, KeepTheModeThatWasReadFirst) {
    using Mode = DeploymentSettings::Mode;
    EXPECT_EQ(read(R"({"mode": "managed"})").mode, Mode::Managed);
    home.setDeployment(R"({"serviceHost": "b.example", "mode": "compatible"})");
    EXPECT_EQ(current().serviceHost, "b.example");
    EXPECT_EQ(current().mode, Mode::Managed);
}

TEST_F(TheDeploymentSettings, HaveAnErrorForWhatOtherValuesWouldTakeThePlaceOf) {
    const auto errorsOf = [this](const char* content) {
        home.setDeployment(content);
        Entries texts;
        for (const auto& error : Platform::deploymentErrors())
            texts.push_back(error.domain + ": " + error.localizedDescription);
        return texts;
    };
    EXPECT_EQ(errorsOf(R"({"serviceHost": "a.example", "mode": "managed", "other": 5})"), Entries{});
    EXPECT_EQ(errorsOf(R"({"serviceHost": 5, "mode": "x"})"),
              (Entries{"JSON: " + homeFile() + ": \"serviceHost\" is not a host with an optional port: 5",
                       "JSON: " + homeFile() + ": \"mode\" is not \"compatible\" or \"managed\": x"}));
    EXPECT_EQ(errorsOf("[]"),
              Entries{"JSON: " + homeFile() + ": Not a JSON object: the top level is an array at byte 0"});
    EXPECT_EQ(log.entries(), Entries{});
    std::filesystem::remove(homeFile());
    EXPECT_TRUE(Platform::deploymentErrors().empty());
    std::filesystem::create_directory(homeFile());
    ASSERT_EQ(Platform::deploymentErrors().size(), 1U);
    EXPECT_EQ(Platform::deploymentErrors()[0], (Platform::Error{"POSIX", 21, homeFile() + ": Is a directory"}));
}

TEST_F(TheDeploymentSettings, MayNameAStagingDirectory) {
    EXPECT_EQ(read("{}").stagingDirectory, std::nullopt);
    EXPECT_EQ(read(R"({"stagingDirectory": "/var/stage"})").stagingDirectory, "/var/stage");
    EXPECT_EQ(log.entries(), Entries{});
    for (const std::string value : {"\"stage\"", "\"\"", "17", "null", "\"/a\\u0000b\""}) {
        EXPECT_EQ(read("{\"stagingDirectory\": " + value + "}").stagingDirectory, std::nullopt);
        ASSERT_EQ(log.entries().size(), 1U) << value;
        EXPECT_TRUE(log.entries()[0].starts_with(
            homeFile() + ": \"stagingDirectory\" is not an absolute path and counts as absent: "));
    }
}

TEST_F(TheDeploymentSettings, TakeHostsOfEveryKind) {
    for (const std::string host :
         {"localhost", "a", "a.example", "a.example.", "A-1.example:80", "x_y.example:65535", "1.2.3.4", "1.2.3.4:8080",
          "[::1]", "[::1]:8080", "[fe80::1]", "1a.example", "xn--bcher-kva.example"}) {
        EXPECT_EQ(read("{\"serviceHost\": \"" + host + "\"}").serviceHost, host);
        EXPECT_EQ(log.entries(), Entries{}) << host;
    }
}

TEST_F(TheDeploymentSettings, RefuseWhatIsNoHost) {
    for (const std::string host :
         {"",       "http://x/", "a b",       "a/b",   "a:",           "a:0",       "a:65536",    "a:-1", "a:+1",
          "a:1x",   "a:80:80",   ":80",       "::1",   "[::1",         "[::1]80",   "[::1]:",     "[]",   "[1.2.3.4]",
          "user@a", "a..b",      ".a",        ".",     "-a",           "a-",        "a?b",        "a#b",  "a\\\\b",
          "1.2.3",  "1.2.3.4.5", "256.1.1.1", "127.1", "b\\u00fccher", "a\\u0000b", "a\\r\\nX: y"}) {
        EXPECT_EQ(read("{\"serviceHost\": \"" + host + "\"}").serviceHost, builtInHost) << host;
        EXPECT_EQ(log.entries().size(), 1U) << host;
    }
    const std::string longName = std::string(64, 'a') + ".example";
    EXPECT_EQ(read("{\"serviceHost\": \"" + longName + "\"}").serviceHost, builtInHost);
}

TEST(TheServiceHost, IsALoopbackOne) {
    for (const char* host : {"localhost", "LocalHost:80", "localhost.", "a.localhost", "a.b.LOCALHOST.:8080",
                             "127.0.0.1", "127.255.0.9:1", "[::1]", "[::1]:8080", "[0:0:0:0:0:0:0:1]"})
        EXPECT_TRUE((DeploymentSettings{.serviceHost = host}).hostIsLoopback()) << host;
}

TEST(TheServiceHost, IsNoLoopbackOne) {
    for (const char* host : {"", "service.example", "localhost.example", "mylocalhost", "128.0.0.1", "10.0.0.127",
                             "[::2]", "[fe80::1]", "127.0.0.1.example", "http://localhost/", "::1", "0.0.0.0"})
        EXPECT_FALSE((DeploymentSettings{.serviceHost = host}).hostIsLoopback()) << host;
}

} // namespace
