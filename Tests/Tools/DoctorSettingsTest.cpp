// What the doctor says of the settings: each value with the file that it comes from.

#include "DoctorText.h"
#include "Support/LogCapture.h"
#include "Support/TemporaryHome.h"
#include "Tools/Doctor/SettingsChecks.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

namespace ToolTest {

using namespace Tools;

namespace {

class TheChecksOfSettings : public testing::Test {
protected:
    /// The checks of the preferences, or those of the deployment settings.
    static std::string ofPreferences() {
        const auto text = textOf(examineSettings().checks);
        return text.substr(0, text.find("ok|deployment.json"));
    }
    static std::string ofDeployment() {
        const auto text = textOf(examineSettings().checks);
        return text.substr(text.find("quenmarkPathKey"));
    }
    std::string deploymentFile() const { return home.config().path("quenmark/deployment.json"); }

    TestSupport::TemporaryHome home;
    /// The settings' reader reports what it refuses.
    TestSupport::LogCapture log;
};

constexpr const char* setUp = "Run: quenmark setup; or: quenmark prefs set ";
constexpr const char* correct = "|Correct it, or remove it and run: quenmark setup\n";

} // namespace

TEST_F(TheChecksOfSettings, NameTheFileOfEachPreference) {
    home.setPreferences(R"({"computerIdKey":7,"userIdKey":"4\u001b2","quenmarkPathKey":"/data"})");
    const std::string from = ", from " + home.preferencesFile() + "|\n";
    EXPECT_EQ(ofPreferences(), "ok|preferences|" + home.preferencesFile() + "|\n" + "ok|computerIdKey|7" + from +
                                   "ok|userIdKey|4\\x1B2" + from + "ok|quenmarkPathKey|/data" + from);
    EXPECT_EQ(examineSettings().quenmarkPath, "/data");
}

TEST_F(TheChecksOfSettings, SayWhatIsNotSet) {
    const std::string expected =
        "failure|computerIdKey|is not set, so that nothing is asked for|" +
        (setUp + std::string("computerIdKey VALUE\n")) +
        "warning|userIdKey|is not set, so that the web service is not told whose items these are|" + setUp +
        "userIdKey VALUE\n" + "failure|quenmarkPathKey|is not set, so that items have no place to go to|" + setUp +
        "quenmarkPathKey VALUE\n";
    EXPECT_EQ(ofPreferences(), "ok|preferences|" + home.preferencesFile() + ", which does not exist|\n" + expected);
    home.setPreferences(R"({"computerIdKey":"","userIdKey":null,"quenmarkPathKey":[]})");
    EXPECT_EQ(ofPreferences(), "ok|preferences|" + home.preferencesFile() + "|\n" + expected);
    EXPECT_EQ(examineSettings().quenmarkPath, std::nullopt);
}

TEST_F(TheChecksOfSettings, NameTheLineAndByteOfAnError) {
    home.setPreferences("{\n  \"computerIdKey\": \"7\",\n}");
    EXPECT_EQ(ofPreferences(), "failure|preferences|" + home.preferencesFile() +
                                   ": Not JSON: syntax error at byte 26 (line 3)" + correct);
    home.setPreferences("{\"computerIdKey\"");
    EXPECT_EQ(ofPreferences(), "failure|preferences|" + home.preferencesFile() +
                                   ": Not JSON: incomplete JSON at byte 16 (line 1)" + correct);
    home.setPreferences("\n\n[]");
    EXPECT_EQ(ofPreferences(), "failure|preferences|" + home.preferencesFile() +
                                   ": Not a JSON object: the top level is an array at byte 2 (line 3)" + correct);
}

TEST_F(TheChecksOfSettings, SayThatAFileCannotBeRead) {
    home.setPreferences("{}");
    ::unlink(home.preferencesFile().c_str());
    ::mkdir(home.preferencesFile().c_str(), 0700);
    EXPECT_EQ(ofPreferences(), "failure|preferences|" + home.preferencesFile() + ": Is a directory" + correct);
}

TEST_F(TheChecksOfSettings, NameTheFileOfEachDeployedValue) {
    home.setDeployment(R"({"serviceHost":"web.example:8080","mode":"managed","appKitVersionNumber":1343})");
    const std::string from = ", from " + deploymentFile() + "|\n";
    const auto text = ofDeployment();
    EXPECT_EQ(text.substr(text.find('\n') + 1),
              "ok|deployment.json|" + deploymentFile() + "|\n" + "ok|serviceHost|web.example:8080" + from +
                  "ok|serviceScheme|http, built in|\n"
                  "ok|certificateAuthorities|the system's, built in|\n"
                  "ok|mode|managed" +
                  from + "ok|appKitVersionNumber|1343" + from + "ok|stagingDirectory|the home directory, built in|\n");
}

TEST_F(TheChecksOfSettings, SayThatValuesAreBuiltIn) {
    const auto text = ofDeployment();
    EXPECT_EQ(text.substr(text.find('\n') + 1), "ok|deployment.json|there is none; the values built in count|\n"
                                                "ok|serviceHost|service.quenmark.example, built in|\n"
                                                "ok|serviceScheme|http, built in|\n"
                                                "ok|certificateAuthorities|the system's, built in|\n"
                                                "ok|mode|compatible, built in|\n"
                                                "ok|appKitVersionNumber|1343, built in|\n"
                                                "ok|stagingDirectory|the home directory, built in|\n");
}

TEST_F(TheChecksOfSettings, NameTheFileOfTheConfigurationDirectories) {
    const TestSupport::ScopedEnvironment environment{{"XDG_CONFIG_DIRS", home.path("none") + ":" + home.path("xdg")}};
    home.write("xdg/quenmark/deployment.json", R"({"stagingDirectory":"/stage"})");
    const std::string file = home.path("xdg/quenmark/deployment.json");
    const auto text = ofDeployment();
    EXPECT_NE(text.find("ok|deployment.json|" + file + "|\n"), std::string::npos) << text;
    EXPECT_NE(text.find("ok|stagingDirectory|/stage, from " + file + "|\n"), std::string::npos) << text;
}

TEST_F(TheChecksOfSettings, ReadAModeToTheLetter) {
    home.setDeployment(R"({"mode":"Compatible"})");
    EXPECT_NE(ofDeployment().find("warning|mode|\"Compatible\" of "), std::string::npos);
}

TEST_F(TheChecksOfSettings, SayThatNothingIsSentToAHostWhoseSafetyIsUnclear) {
    home.setDeployment(R"({"serviceHost":"x","serviceScheme":"ftp","certificateAuthorities":"own.pem"})");
    const std::string of = " of " + deploymentFile() + " is not valid; nothing is sent|Correct it\n";
    const auto text = ofDeployment();
    EXPECT_NE(text.find("failure|serviceScheme|\"ftp\"" + of), std::string::npos) << text;
    EXPECT_NE(text.find("failure|certificateAuthorities|\"own.pem\"" + of), std::string::npos) << text;
    EXPECT_EQ(text.find("|serviceHost|"), std::string::npos) << text;
    home.setDeployment(R"({"serviceHost":"x","serviceScheme":"HTTPS"})");
    EXPECT_NE(ofDeployment().find("ok|serviceScheme|HTTPS, from "), std::string::npos);
}

TEST_F(TheChecksOfSettings, SayWhichDeployedValueIsNotValid) {
    home.setDeployment(
        R"({"serviceHost":"http://x/","mode":"Managed","appKitVersionNumber":"a","stagingDirectory":"b"})");
    const auto text = ofDeployment();
    const std::string of = " of " + deploymentFile() + " is not valid; ";
    EXPECT_EQ(text.substr(text.find("failure|serviceHost")),
              "failure|serviceHost|\"http://x/\"" + of + "service.quenmark.example counts|Correct it\n" +
                  "ok|serviceScheme|http, built in|\n" + "ok|certificateAuthorities|the system's, built in|\n" +
                  "warning|mode|\"Managed\"" + of + "compatible counts|Correct it\n" +
                  "warning|appKitVersionNumber|\"a\"" + of + "1343 counts|Correct it\n" +
                  "warning|stagingDirectory|\"b\"" + of + "the home directory counts|Correct it\n");
}

TEST_F(TheChecksOfSettings, NameTheMembersThatNothingReads) {
    home.setDeployment(R"({"serviceHost":"h","servicehost":"i","poll\u001bInterval":5,"mode":"managed"})");
    EXPECT_TRUE(ofDeployment().ends_with("\nwarning|unknown members|nothing reads \"servicehost\", "
                                         "\"poll\\u001bInterval\" of " +
                                         deploymentFile() +
                                         "|Correct or remove what is mistyped or of another version\n"))
        << ofDeployment();
    home.setDeployment(R"({"serviceHost":"h"})");
    EXPECT_EQ(ofDeployment().find("unknown"), std::string::npos);
}

TEST_F(TheChecksOfSettings, SayThatTheDeploymentFileIsMalformed) {
    home.setDeployment("{\"serviceHost\":\n\"x\"");
    const auto checks = examineSettings().checks;
    EXPECT_EQ(textOf({checks.back()}), "failure|deployment.json|" + deploymentFile() +
                                           ": Not JSON: incomplete JSON at byte 19 (line 2)" + correct);
}

} // namespace ToolTest
