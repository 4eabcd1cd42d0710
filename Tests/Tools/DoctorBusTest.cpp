// What the doctor says of the session bus, of the service and of its engines.

#include "DoctorText.h"
#include "Tools/Doctor/BusChecks.h"

#include <gtest/gtest.h>

namespace ToolTest {

using namespace Tools;

namespace {

BusFindings running(std::vector<EngineStatus> engines = {}) {
    BusFindings findings;
    findings.canLaunchService = true;
    findings.unit = UnitFindings{"loaded", "active", "enabled"};
    findings.isRunning = true;
    findings.status = ServiceStatus{"1.0", "managed", "listener", "http://host/", {}, 0, 0, std::move(engines)};
    return findings;
}

EngineStatus engineIn(const std::string& state, const std::string& reason = "", std::uint64_t id = 1) {
    EngineStatus engine;
    engine.id = id;
    engine.state = state;
    engine.reason = reason;
    return engine;
}

std::string busText(const BusFindings& findings) {
    return textOf(busChecks(findings, "1.0", "managed"));
}

std::string textOfEngine(const EngineStatus& engine) {
    return textOf(engineChecks(running({engine})));
}

std::string textOfUnit(const UnitFindings& unit) {
    auto findings = running();
    findings.unit = unit;
    return textOf({busChecks(findings, "1.0", "managed").at(3)});
}

TEST(TheChecksOfTheBus, AreFineWhereAllIs) {
    EXPECT_EQ(busText(running()), "ok|session bus|connected|\n"
                                  "ok|activation|the bus can launch the service|\n"
                                  "ok|user manager|on the session bus|\n"
                                  "ok|quenmark.service|enabled, active|\n"
                                  "ok|service|version 1.0, managed mode|\n");
}

TEST(TheChecksOfTheBus, SayNothingElseWhereThereIsNone) {
    auto findings = running();
    findings.busError = "there is no session bus (\x1b[2J)";
    EXPECT_EQ(busText(findings), "failure|session bus|there is no session bus (\\x1B[2J)|"
                                 "Run it in a session that has a bus: DBUS_SESSION_BUS_ADDRESS names it\n");
}

TEST(TheChecksOfTheBus, SayThatTheServiceCannotBeLaunched) {
    auto findings = running();
    findings.canLaunchService = false;
    const std::string rest = "|activation|the bus knows no service file for Velkarin.Quenmark.TopFileUploadXpcService|"
                             "Install Velkarin.Quenmark.TopFileUploadXpcService.service where the bus finds it "
                             "(dbus-daemon(1)), and log in anew\n";
    EXPECT_NE(busText(findings).find("warning" + rest), std::string::npos) << busText(findings);
    findings.isRunning = false;
    EXPECT_NE(busText(findings).find("failure" + rest), std::string::npos) << busText(findings);
}

TEST(TheChecksOfTheBus, WarnWhereThereIsNoUserManagerAndNoService) {
    BusFindings findings;
    findings.canLaunchService = true;
    EXPECT_EQ(busText(findings), "ok|session bus|connected|\n"
                                 "ok|activation|the bus can launch the service|\n"
                                 "warning|user manager|none is on the session bus|"
                                 "The service starts when it is called, and not at login: run: quenmark start\n"
                                 "warning|service|does not run|Run: quenmark start\n");
}

TEST(TheCheckOfTheUnit, SaysWhatIsWrongWithIt) {
    EXPECT_EQ(textOfUnit({"not-found", "inactive", ""}),
              "warning|quenmark.service|is not installed|"
              "Install it: without it the service does not start at login, and a bus whose service file names it "
              "launches nothing\n");
    EXPECT_EQ(textOfUnit({"masked", "inactive", "masked"}),
              "warning|quenmark.service|is masked|Run: systemctl --user unmask quenmark.service\n");
    EXPECT_EQ(textOfUnit({"bad-setting", "inactive", "enabled"}),
              "warning|quenmark.service|cannot be loaded (bad-setting)|"
              "See why: systemctl --user status quenmark.service\n");
    const std::string advice = "|See why: systemctl --user status quenmark.service; then run: systemctl --user restart "
                               "quenmark.service\n";
    const auto textOfFailed = [](const char* active, const char* sub, std::int64_t status) {
        return textOfUnit({"loaded", active, "enabled", sub, status});
    };
    const std::string failed = "warning|quenmark.service|has failed: ";
    EXPECT_EQ(textOfFailed("failed", "failed", 203), failed + "its program cannot be run" + advice);
    EXPECT_EQ(textOfFailed("activating", "auto-restart", 203), failed + "its program cannot be run" + advice);
    EXPECT_EQ(textOfFailed("activating", "auto-restart", 226),
              failed + "its sandbox cannot be set up (status 226)" + advice);
    EXPECT_EQ(textOfFailed("failed", "failed", 245), failed + "its sandbox cannot be set up (status 245)" + advice);
    EXPECT_EQ(textOfFailed("failed", "failed", 246), failed + "its program has ended with 246" + advice);
    EXPECT_EQ(textOfFailed("failed", "failed", 199), failed + "its program has ended with 199" + advice);
    EXPECT_EQ(textOfFailed("failed", "", 0), failed + "it does not come to run" + advice);
    EXPECT_EQ(textOfFailed("activating", "start", 203), "ok|quenmark.service|enabled, activating|\n");
    EXPECT_EQ(textOfUnit({"loaded", "inactive", "disabled"}),
              "warning|quenmark.service|disabled, inactive|Run: systemctl --user enable --now quenmark.service\n");
    EXPECT_EQ(textOfUnit({"loaded", "inactive", "enabled"}),
              "warning|quenmark.service|enabled, inactive|Run: systemctl --user start quenmark.service\n");
    EXPECT_EQ(textOfUnit({"", "", ""}), "warning|quenmark.service|cannot be loaded (it does not tell)|"
                                        "See why: systemctl --user status quenmark.service\n");
}

TEST(TheCheckOfTheService, ComparesItWithWhatIsInstalled) {
    const std::string advice = "|Run: quenmark stop; then run: quenmark start\n";
    auto findings = running();
    findings.status->version = "0.9";
    EXPECT_EQ(textOf({busChecks(findings, "1.0", "managed").back()}),
              "warning|service|version 0.9, managed mode; version 1.0 is installed" + advice);
    findings.status->version = "1.0";
    EXPECT_EQ(textOf({busChecks(findings, "1.0", "compatible").back()}),
              "warning|service|version 1.0, managed mode; deployment.json says compatible" + advice);
    findings.status.reset();
    findings.statusError = "the service does not answer in time";
    EXPECT_EQ(textOf({busChecks(findings, "1.0", "managed").back()}),
              "warning|service|the service does not answer in time" + advice);
    EXPECT_EQ(textOf(engineChecks(findings)), "");
}

TEST(TheCheckOfAnEngine, IsAFailureWhereItIsStalledBlockedOrUnconfigured) {
    EXPECT_EQ(textOfEngine(engineIn("stalled", "transport -1004")),
              "failure|engine 1|stalled (transport -1004)|The web service cannot be connected to: check that the web "
              "service runs at http://host/, the address of deployment.json; then run: quenmark start\n");
    EXPECT_EQ(textOfEngine(engineIn("blocked", "folder in the way")),
              "failure|engine 1|blocked (folder in the way)|A folder has the item's name: move or rename it; the item "
              "then arrives by itself\n");
    EXPECT_EQ(textOfEngine(engineIn("unconfigured", "computerIdKey")),
              "failure|engine 1|unconfigured (computerIdKey)|computerIdKey is not set, so that nothing is asked for: "
              "run: quenmark prefs set computerIdKey VALUE\n");
}

TEST(TheCheckOfAnEngine, IsAWarningWhereItTriesAgainOrWasNotStarted) {
    EXPECT_EQ(textOfEngine(engineIn("retrying", "status 3")),
              "warning|engine 1|retrying (status 3)|The web service refused with status 3: check computerIdKey, and "
              "that http://host/ is the right web service; it is tried again by itself\n");
    EXPECT_EQ(textOfEngine(engineIn("offline", "no network")),
              "warning|engine 1|offline (no network)|This machine has no network: connect it; it is tried again by "
              "itself\n");
    EXPECT_EQ(textOfEngine(engineIn("created")), "warning|engine 1|created|Run: quenmark start\n");
    EXPECT_EQ(textOf(engineChecks(running())), "warning|engines|none has been started|Run: quenmark start\n");
}

TEST(TheCheckOfAnEngine, IsFineWhereItWaitsOrWorks) {
    for (const char* state : {"idle", "polling", "downloading", "flushing", "acknowledging"})
        EXPECT_EQ(textOfEngine(engineIn(state)), std::string("ok|engine 1|") + state + "|\n");
}

TEST(TheCheckOfAnEngine, TellsOfLostItems) {
    auto engine = engineIn("idle");
    engine.itemsLost = 2;
    engine.lastLostItem = "\\a";
    EXPECT_EQ(textOfEngine(engine), "ok|engine 1|idle|\n"
                                    "warning|lost items|2|2 items were acknowledged and not placed, at last \\a: send "
                                    "again what is missing; managed mode loses nothing\n");
}

TEST(TheCheckOfAnEngine, HoldsHostileTextsWithoutHarm) {
    const auto text = textOfEngine(engineIn("\x1b[2J", std::string(1 << 20, 'x')));
    EXPECT_TRUE(text.starts_with("ok|engine 1|\\x1B[2J (xxx")) << text.substr(0, 100);
    EXPECT_LT(text.size(), 400U);
}

TEST(TheCheckOfEngines, WarnsOfMoreThanOne) {
    EXPECT_EQ(textOf(engineChecks(running({engineIn("idle"), engineIn("polling", "", 2)}))),
              "warning|engines|2, of which each asks for items|Run: quenmark stop; then run: quenmark start\n"
              "ok|engine 1|idle|\n"
              "ok|engine 2|polling|\n");
}

TEST(TheCheckOfEngines, LeavesOutThoseThatAreFineWhereThereAreMany) {
    std::vector<EngineStatus> engines(50, engineIn("idle"));
    for (std::size_t index = 0; index < 20; ++index)
        engines[index].state = "stalled";
    const auto checks = engineChecks(running(engines));
    EXPECT_EQ(checks.size(), 12U);
    EXPECT_EQ(textOf({checks.front()}).substr(0, 19), "warning|engines|50,");
    EXPECT_EQ(textOf({checks.back()}), "failure|engines|10 more have a problem|See all: quenmark status --json\n");
}

} // namespace

} // namespace ToolTest
