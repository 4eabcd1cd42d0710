// What the real service tells of itself on the bus.

#include "EndToEnd/RealServiceFixture.h"
#include "EndToEnd/StatusReader.h"

#include <boost/json/serialize.hpp>

#include <chrono>

namespace Quenmark {

using TestSupport::BusPeer;
using TestSupport::HttpReply;
using TestSupport::runCommand;

namespace {

std::int64_t microsecondsNow() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
}

} // namespace

class TheStatus : public RealServiceFixture {
protected:
    static bool isManaged() { return std::string(GetParam().mode) == "managed"; }

    void launch() {
        deploy(server.host());
        BusPeer peer;
        ASSERT_TRUE(peer.call({busName, "/", "org.freedesktop.DBus.Peer", "Ping"}));
    }
};

TEST_P(TheStatus, NamesTheProgramAndHowItRuns) {
    const auto before = microsecondsNow();
    launch();
    const auto after = microsecondsNow();
    EXPECT_EQ(StatusReader::property("Version"), QUENMARK_VERSION);
    EXPECT_EQ(StatusReader::property("FrontEnd"), GetParam().isWrapper ? "messages" : "listener");
    EXPECT_EQ(StatusReader::property("Mode"), isManaged() ? "managed" : "compatible");
    EXPECT_EQ(StatusReader::property("ServiceRoot"), "http://" + server.host() + "/QuenmarkRestService/");
    EXPECT_EQ(StatusReader::property("ItemsReceived"), "0");
    EXPECT_EQ(StatusReader::property("BytesReceived"), "0");
    const auto started = std::stoll(StatusReader::property("Started"));
    EXPECT_GE(started, before);
    EXPECT_LE(started, after);
}

TEST_P(TheStatus, ShowsTheEngineOfAPeerThatHasStartedOne) {
    deploy(server.host());
    BusPeer peer;
    askToStart(peer);
    ASSERT_TRUE(pollUntil([&] { return count(pollTarget) >= 2; }));
    EXPECT_EQ(StatusReader::member("Id"), "1");
    EXPECT_EQ(StatusReader::member("Peer"), isManaged() ? "" : peer.uniqueName());
    EXPECT_EQ(StatusReader::state(), "idle");
    EXPECT_EQ(StatusReader::member("Reason"), "");
}

TEST_P(TheStatus, MakesNoEngineWhenItIsRead) {
    launch();
    for (int reading = 0; reading < 3; ++reading)
        EXPECT_EQ(StatusReader::engines().size(), isManaged() ? 1U : 0U);
    EXPECT_TRUE(isManaged() || count(pollTarget) == 0);
}

INSTANTIATE_TEST_SUITE_P(Variations, TheStatus, ::testing::Values(modern, wrapper, managedModern, managedWrapper),
                         [](const auto& suite) { return suite.param.name; });

} // namespace Quenmark
