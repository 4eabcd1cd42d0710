// What a person is told to do about an engine.

#include "Tools/Status/Advice.h"

#include <gtest/gtest.h>

namespace Tools {

namespace {

std::string advice(const std::string& state, const std::string& reason, const std::string& root = "http://host/") {
    EngineStatus engine;
    engine.state = state;
    engine.reason = reason;
    return adviceOn(engine, root).value_or("none");
}

std::string adviceOnLost(std::optional<std::uint64_t> count, std::optional<std::string> item = {},
                         std::optional<std::string> reason = {}) {
    EngineStatus engine;
    engine.itemsLost = count;
    engine.lastLostItem = std::move(item);
    engine.lastLostReason = std::move(reason);
    return adviceOnLostItems(engine).value_or("none");
}

} // namespace

TEST(TheAdvice, IsNoneWhereNothingIsWrong) {
    for (const char* state : {"idle", "polling", "downloading", "flushing", "acknowledging", "dreaming"})
        EXPECT_EQ(advice(state, ""), "none") << state;
    EXPECT_EQ(advice("downloading", "transport -1004"), "none");
}

TEST(TheAdvice, IsToStartWhatWasNotStarted) {
    EXPECT_EQ(advice("created", ""), "Run: quenmark start");
    EXPECT_STREQ(adviceToStart, "Run: quenmark start");
}

TEST(TheAdvice, IsToSetWhatIsNotSet) {
    EXPECT_EQ(advice("unconfigured", "computerIdKey"),
              "computerIdKey is not set, so that nothing is asked for: run: quenmark prefs set computerIdKey VALUE");
}

TEST(TheAdvice, NamesTheCauseTheCheckAndWhatHappensNext) {
    const std::string address = ": check that the web service runs at http://host/, the address of deployment.json";
    const std::string network = ": check the network between this machine and http://host/";
    const std::string trust = ": check the certificate of http://host/, and the authorities that deployment.json names";
    const std::string server = ": check computerIdKey, and that http://host/ is the right web service";
    const std::vector<std::pair<std::string, std::string>> causes{
        {"no network", "This machine has no network: connect it"},
        {"transport -1000", "The web service's address cannot be used" + address},
        {"transport -1001", "The web service did not respond in time" + network},
        {"transport -1003", "The web service's host name was not found" + address},
        {"transport -1004", "The web service cannot be connected to" + address},
        {"transport -1005", "The connection to the web service was lost" + network},
        {"transport -1007", "The web service redirects without end" + address},
        {"transport -1011", "The web service does not speak HTTP" + address},
        {"transport -1200", "No TLS connection to the web service can be made" + trust},
        {"transport -1202", "The web service's certificate is not accepted" + trust},
        {"transport -1", "The transfer failed with error -1" + network},
        {"transport 0", "The transfer failed with error 0" + network},
        {"status 2", "The web service refused with status 2" + server},
        {"acknowledgement refused 5", "The web service refused an item's acknowledgement with status 5" + server},
        {"acknowledgement failed", "The web service did not confirm an item's acknowledgement" + network},
        {"bad response", "The web service's response cannot be read" + server},
        {"not flushed", "An item could not be flushed to disk: check the disk of the Quenmark folder"},
        {"transport", "It failed (transport): look into the service's log"},
        {"transport x", "It failed (transport x): look into the service's log"},
        {"transport 1x", "It failed (transport 1x): look into the service's log"},
        {"status 99999999999", "It failed (status 99999999999): look into the service's log"},
        {"of\x1B[2J", "It failed (of\\x1B[2J): look into the service's log"},
    };
    for (const auto& [reason, sentence] : causes) {
        EXPECT_EQ(advice("stalled", reason), sentence + "; then run: quenmark start");
        for (const char* state : {"retrying", "offline", "idle"})
            EXPECT_EQ(advice(state, reason), sentence + "; it is tried again by itself") << state;
    }
    EXPECT_EQ(advice("stalled", ""), "Something failed: look into the service's log; then run: quenmark start");
}

TEST(TheAdvice, IsToMakeRoomForAnItem) {
    EXPECT_EQ(advice("blocked", "name leaves the folder"),
              "The item's name leads out of the Quenmark folder: remove the item at the web service");
    EXPECT_EQ(advice("blocked", "folder in the way"),
              "A folder has the item's name: move or rename it; the item then arrives by itself");
    EXPECT_EQ(advice("blocked", "file in the way"),
              "A file is where a folder of the item has to be: move or rename it; the item then arrives by itself");
    EXPECT_EQ(advice("blocked", "disk full: 1048576 bytes missing"),
              "The disk is full: free 1.0 MiB or more on that of the Quenmark folder; the item then arrives by itself");
    EXPECT_EQ(advice("blocked", "not writable: /home/ann"),
              "/home/ann cannot be written to: let this user write there, or mount its disk; the item then arrives by "
              "itself");
    for (const char* reason : {"", "disk full: bytes missing", "disk full: x bytes missing", "disk full: 5"})
        EXPECT_EQ(advice("blocked", reason),
                  std::string("The item cannot be placed (") + reason + "): look into the service's log");
}

TEST(TheAdvice, SteersNoTerminalAndIsShort) {
    const std::string escape = "\x1B]0;t\x07\n\u009B31m";
    const std::string harmless = "\\x1B]0;t\\x07\\x0A\\xC2\\x9B31m";
    EXPECT_EQ(advice("unconfigured", escape),
              harmless + " is not set, so that nothing is asked for: run: quenmark prefs set " + harmless + " VALUE");
    EXPECT_EQ(advice("blocked", escape), "The item cannot be placed (" + harmless + "): look into the service's log");
    EXPECT_EQ(
        advice("blocked", "not writable: " + escape),
        harmless +
            " cannot be written to: let this user write there, or mount its disk; the item then arrives by itself");
    EXPECT_EQ(advice("stalled", "bad response", escape), "The web service's response cannot be read: check "
                                                         "computerIdKey, and that " +
                                                             harmless +
                                                             " is the right web service; then run: quenmark start");
    EXPECT_EQ(advice("blocked", std::string(1 << 20, 'x')),
              "The item cannot be placed (" + std::string(200, 'x') + "…): look into the service's log");
}

TEST(TheAdvice, OnLostItemsIsToSendThemAgain) {
    EXPECT_EQ(adviceOnLost(std::nullopt), "none");
    EXPECT_EQ(adviceOnLost(0, "\\a", "move"), "none");
    EXPECT_EQ(adviceOnLost(1),
              "1 item was acknowledged and not placed: send again what is missing; managed mode loses nothing");
    EXPECT_EQ(adviceOnLost(2, "\\a", "no bytes"), "2 items were acknowledged and not placed, at last \\a (no bytes): "
                                                  "send again what is missing; managed mode loses nothing");
    EXPECT_EQ(adviceOnLost(2, "\n", "\x1B"), "2 items were acknowledged and not placed, at last \\x0A (\\x1B): "
                                             "send again what is missing; managed mode loses nothing");
}

TEST(AShownText, IsPrintableAndCutAtAWholeCharacter) {
    EXPECT_EQ(shown(""), "");
    EXPECT_EQ(shown(std::string("a\0b", 3)), "a\\x00b");
    EXPECT_EQ(shown(std::string(200, 'x')), std::string(200, 'x'));
    EXPECT_EQ(shown(std::string(201, 'x')), std::string(200, 'x') + "…");
    EXPECT_EQ(shown(std::string(199, 'x') + "é"), std::string(199, 'x') + "…");
    EXPECT_EQ(shown(std::string(198, 'x') + "éy"), std::string(198, 'x') + "é…");
}

} // namespace Tools
