// What the service counts over all its engines.

#include "TopFileUploadXpcService/ServiceStatus.h"

#include "TopFileUploadXpcService/EngineStatusFixture.h"

namespace Quenmark {

using std::chrono::seconds;

class TheStatusOfTheService : public EngineStatusFixture {
protected:
    /// A download of that many bytes from the offset on, in an attempt of its own that ends so.
    void fetch(const std::string& item, std::uint64_t offset, std::uint64_t bytes, const AttemptEnd& how) {
        ++number;
        offer(number, item);
        engine->downloadBegan(number, offset);
        engine->wrote(number, bytes);
        end(number, how);
    }

    EngineObserver::AttemptNumber number = 0;
};

TEST_F(TheStatusOfTheService, BeginsWithNothing) {
    EXPECT_EQ(status->startTime(), 1'000'000'000);
    EXPECT_EQ(status->itemsReceived(), 0U);
    EXPECT_EQ(status->bytesReceived(), 0U);
    EXPECT_FALSE(status->isManaged());
    clock.advance(seconds(1));
    EXPECT_EQ(status->startTime(), 1'000'000'000);
}

TEST_F(TheStatusOfTheService, UsesTheTimeOfTheSystem) {
    const auto now = [] {
        return std::chrono::duration_cast<std::chrono::microseconds>(
                   std::chrono::system_clock::now().time_since_epoch())
            .count();
    };
    const auto before = now();
    const auto real = std::make_shared<ServiceStatus>(true);
    EXPECT_TRUE(real->isManaged());
    EXPECT_GE(real->startTime(), before);
    EXPECT_LE(real->startTime(), now());
}

TEST_F(TheStatusOfTheService, NumbersItsEnginesAndListsThoseThatAreThere) {
    auto second = status->addEngine(":1.8");
    const auto third = status->addEngine("");
    EXPECT_EQ(changes, 3);
    second.reset();
    const auto fourth = status->addEngine(":1.9");
    const auto engines = status->engines();
    ASSERT_EQ(engines.size(), 3U);
    EXPECT_EQ(engines[0].id, 1U);
    EXPECT_EQ(engines[0].peer, ":1.7");
    EXPECT_EQ(engines[1].id, 3U);
    EXPECT_EQ(engines[1].peer, "");
    EXPECT_EQ(engines[2].id, 4U);
    EXPECT_EQ(engines[2].peer, ":1.9");
}

TEST_F(TheStatusOfTheService, IsTheSameWithoutAHandlerOfChanges) {
    status->setChangeHandler(nullptr);
    start();
    download(1);
    EXPECT_EQ(state(), State::Downloading);
}

TEST_F(TheStatusOfTheService, CountsItemsAndTheirBytes) {
    start();
    fetch("\\a.txt", 0, 100, {Kind::Acknowledged});
    fetch("\\b.txt", 0, 23, {Kind::Acknowledged});
    EXPECT_EQ(status->itemsReceived(), 2U);
    EXPECT_EQ(status->bytesReceived(), 123U);
    // A folder has no bytes.
    offer(9, "\\Docs");
    engine->flushing(9);
    EXPECT_EQ(state(), State::Flushing);
    EXPECT_EQ(entry().item, "\\Docs");
    EXPECT_EQ(entry().total, std::nullopt);
    engine->acknowledging(9);
    end(9, {Kind::Acknowledged});
    EXPECT_EQ(status->itemsReceived(), 3U);
    EXPECT_EQ(status->bytesReceived(), 123U);
    EXPECT_EQ(entry().lastItem, "\\Docs");
}

TEST_F(TheStatusOfTheService, CountsNoBytesThatWereOnDiskBefore) {
    start();
    fetch("\\a.txt", 1000, 24, {Kind::Acknowledged});
    EXPECT_EQ(status->bytesReceived(), 24U);
}

TEST_F(TheStatusOfTheService, CountsTheBytesOfEarlierAttempts) {
    start();
    fetch("\\a.txt", 0, 60, {Kind::StreamFailed, -1005});
    fetch("\\b.txt", 0, 5, {Kind::StreamFailed, -1005});
    EXPECT_EQ(status->bytesReceived(), 0U);
    EXPECT_EQ(status->itemsReceived(), 0U);
    // Another engine claims it meanwhile, so that it is offered in vain.
    offer(8, "\\a.txt");
    end(8, {Kind::NoItem});
    fetch("\\a.txt", 60, 40, {Kind::Acknowledged});
    EXPECT_EQ(status->bytesReceived(), 100U);
    fetch("\\b.txt", 5, 1, {Kind::Acknowledged});
    EXPECT_EQ(status->bytesReceived(), 106U);
    fetch("\\a.txt", 10, 1, {Kind::Acknowledged});
    EXPECT_EQ(status->bytesReceived(), 107U);
}

TEST_F(TheStatusOfTheService, CountsNoBytesThatWereDiscarded) {
    start();
    fetch("\\a.txt", 0, 60, {Kind::StreamFailed, -1005});
    fetch("\\a.txt", 0, 100, {Kind::Acknowledged});
    EXPECT_EQ(status->bytesReceived(), 100U);
}

TEST_F(TheStatusOfTheService, CountsAnItemThatWaitedForItsPlace) {
    start();
    fetch("\\a.txt", 0, 60, {.kind = Kind::NotPlaced, .reason = "folder in the way"});
    offer(8, "\\a.txt");
    engine->foundComplete(8, 60);
    engine->flushing(8);
    end(8, {Kind::Acknowledged});
    EXPECT_EQ(status->bytesReceived(), 60U);
    EXPECT_EQ(status->itemsReceived(), 1U);
}

TEST_F(TheStatusOfTheService, CountsNoBytesThatACompleteFileDoesNotHave) {
    start();
    fetch("\\a.txt", 0, 60, {.kind = Kind::NotPlaced, .reason = "folder in the way"});
    offer(8, "\\a.txt");
    engine->foundComplete(8, 40);
    end(8, {Kind::Acknowledged});
    EXPECT_EQ(status->bytesReceived(), 40U);
}

TEST_F(TheStatusOfTheService, RemembersTheBytesOfAHundredUnfinishedItems) {
    start();
    for (int count = 0; count <= 100; ++count)
        fetch("\\" + std::to_string(count), 0, 7, {Kind::StreamFailed, -1005});
    fetch("\\0", 7, 1, {Kind::Acknowledged});
    EXPECT_EQ(status->bytesReceived(), 1U);
    fetch("\\1", 7, 1, {Kind::Acknowledged});
    EXPECT_EQ(status->bytesReceived(), 9U);
    fetch("\\100", 7, 1, {Kind::Acknowledged});
    EXPECT_EQ(status->bytesReceived(), 17U);
}

TEST_F(TheStatusOfTheService, RemembersNothingOfItemsWithoutBytes) {
    start();
    fetch("\\a.txt", 0, 7, {Kind::StreamFailed, -1005});
    for (int count = 0; count < 200; ++count)
        fetch("\\" + std::to_string(count), 0, 0, {Kind::StreamFailed, -1005});
    fetch("\\a.txt", 7, 1, {Kind::Acknowledged});
    EXPECT_EQ(status->bytesReceived(), 8U);
}

TEST_F(TheStatusOfTheService, CountsNoItemThatIsNotInItsPlace) {
    start();
    fetch("\\a.txt", 0, 60, {.kind = Kind::Acknowledged, .reason = "move failed"});
    EXPECT_EQ(status->itemsReceived(), 0U);
    EXPECT_EQ(status->bytesReceived(), 0U);
    EXPECT_EQ(entry().itemsLost, 1U);
    EXPECT_EQ(entry().lastLostItem, "\\a.txt");
    EXPECT_EQ(entry().lastLostReason, "move failed");
    EXPECT_EQ(entry().lastItem, std::nullopt);
    EXPECT_EQ(state(), State::Idle);
    EXPECT_EQ(reason(), "");
    fetch("\\b.txt", 0, 0, {.kind = Kind::Acknowledged, .reason = "no bytes"});
    EXPECT_EQ(entry().itemsLost, 2U);
    EXPECT_EQ(entry().lastLostItem, "\\b.txt");
    EXPECT_EQ(entry().lastLostReason, "no bytes");
}

TEST_F(TheStatusOfTheService, OutlivesItsHolderInItsEngines) {
    status.reset();
    engine->started();
    idlePass(1);
    engine.reset();
    EXPECT_EQ(changes, 3);
}

} // namespace Quenmark
