// The records of the items in the outbox and of their uploads.

#include "WebService/Outbox/OutboxLedger.h"

#include "Support/TemporaryFolder.h"
#include "WebService/Storage/Schema.h"

#include <gtest/gtest.h>

namespace webservice {

namespace {

constexpr FileIdentity first{.inode = 1, .size = 5, .modified = 10};
constexpr FileIdentity second{.inode = 2, .size = 6, .modified = 11};

class AnOutboxLedger : public ::testing::Test {
protected:
    std::string pending(std::string_view computer = "7") {
        std::string names;
        std::int64_t position = -1;
        while (const auto upload = ledger.nextPending(computer, position))
            names += std::to_string(upload->id) + upload->name + (upload->tainted ? "! " : " ");
        return names;
    }

    Upload upload(std::int64_t id) { return ledger.find(id).value(); }

    test::TemporaryFolder folder;
    StateDatabase db{folder.path("state.db").string()};
    OutboxLedger ledger{db};
};

} // namespace

TEST_F(AnOutboxLedger, QueuesEveryItemOnceInTheOrderOfArrival) {
    ledger.addFolder("7", "\\b");
    ledger.addFile("7", "\\b\\x", first, false);
    ledger.addFile("7", "\\a", second, false);
    ledger.addFile("8", "\\a", second, false);
    ledger.addFolder("7", "\\b");
    ledger.addFile("7", "\\a", second, false);
    EXPECT_EQ(pending(), "1\\b 2\\b\\x 3\\a ");
    EXPECT_EQ(pending("8"), "4\\a ");
}

TEST_F(AnOutboxLedger, KeepsThePendingUploadOfAReplacedFile) {
    ledger.addFile("7", "\\a", first, false);
    ledger.addFile("7", "\\b", first, false);
    ledger.addFile("7", "\\a", second, false);
    EXPECT_EQ(pending(), "1\\a 2\\b ");
}

TEST_F(AnOutboxLedger, ReplacesAnUploadThatWasPartlySent) {
    ledger.addFile("7", "\\a", first, false);
    ledger.addFile("7", "\\b", first, false);
    ledger.sending(upload(1), true);
    ledger.addFile("7", "\\a", second, false);
    EXPECT_EQ(pending(), "3\\a! 2\\b ");
    EXPECT_FALSE(upload(1).pending);
    ledger.sending(upload(3), true);
    EXPECT_FALSE(upload(3).tainted);
}

TEST_F(AnOutboxLedger, QueuesAnAcknowledgedFileAgainWhenItIsRewritten) {
    ledger.addFile("7", "\\a", first, false);
    ledger.acknowledge(upload(1));
    ledger.addFile("7", "\\a", first, false);
    EXPECT_EQ(pending(), "");
    ledger.addFile("7", "\\a", first, true);
    EXPECT_EQ(pending(), "2\\a ");
}

TEST_F(AnOutboxLedger, WithdrawsWhatIsRemovedWithEverythingBelowIt) {
    ledger.addFolder("7", "\\a");
    ledger.addFile("7", "\\a\\x", first, false);
    ledger.addFile("7", "\\a]", first, false);
    ledger.addFile("7", "\\a.b", first, false);
    ledger.addFile("7", "\\aa", first, false);
    runToEnd(ledger.removeTree("7", "\\a"));
    EXPECT_EQ(pending(), "3\\a] 4\\a.b 5\\aa ");
    ledger.addFolder("7", "\\a");
    EXPECT_EQ(pending(), "3\\a] 4\\a.b 5\\aa 6\\a ");
    runToEnd(ledger.removeComputer("7"));
    EXPECT_EQ(pending(), "");
    EXPECT_EQ(ledger.count("withdrawn", "7"), 6);
}

TEST_F(AnOutboxLedger, RemovesWhatAScanDidNotFind) {
    ledger.addFile("7", "\\a", first, false);
    ledger.addFile("8", "\\a", first, false);
    runToEnd(ledger.retainOnly({OutboxLedger::key("8", "\\a")}));
    EXPECT_EQ(pending("7"), "");
    EXPECT_EQ(pending("8"), "2\\a ");
}

TEST_F(AnOutboxLedger, TreatsAFolderThatReplacesAFileAsANewItem) {
    ledger.addFile("7", "\\a", first, false);
    ledger.addFolder("7", "\\a");
    EXPECT_EQ(pending(), "2\\a ");
    EXPECT_FALSE(upload(2).isFile);
    ledger.addFile("7", "\\a", first, false);
    EXPECT_EQ(pending(), "3\\a ");
    EXPECT_TRUE(upload(3).isFile);
}

TEST_F(AnOutboxLedger, MovesAPostponedUploadToTheEnd) {
    ledger.addFile("7", "\\a", first, false);
    ledger.addFile("7", "\\b", first, false);
    ledger.postpone(upload(1));
    EXPECT_EQ(pending(), "2\\b 1\\a ");
}

TEST_F(AnOutboxLedger, KeepsTheLastOfferUntilItIsAcknowledged) {
    ledger.addFile("7", "\\a", first, false);
    EXPECT_FALSE(ledger.offered("7"));
    ledger.offer(upload(1));
    EXPECT_EQ(ledger.offered("7").value().id, 1);
    ledger.acknowledge(upload(1));
    EXPECT_FALSE(ledger.offered("7"));
    ledger.acknowledge(upload(1));
    EXPECT_EQ(ledger.count("acknowledged", std::nullopt), 1);
}

TEST_F(AnOutboxLedger, DoesNotAcknowledgeAWithdrawnUpload) {
    ledger.addFile("7", "\\a", first, false);
    runToEnd(ledger.removeTree("7", "\\a"));
    ledger.acknowledge(upload(1));
    EXPECT_EQ(ledger.count("acknowledged", std::nullopt), 0);
    EXPECT_EQ(ledger.count("withdrawn", std::nullopt), 1);
}

TEST_F(AnOutboxLedger, RemovesThousandsOfItemsThatAScanDidNotFind) {
    constexpr int count = 1100;
    for (int i = 0; i < count; ++i)
        ledger.addFile("7", "\\" + std::to_string(i), first, false);
    runToEnd(ledger.retainOnly({OutboxLedger::key("7", "\\1099")}));
    EXPECT_EQ(pending("7"), "1100\\1099 ");
    EXPECT_EQ(ledger.count("withdrawn", "7"), count - 1);
}

TEST_F(AnOutboxLedger, RemovesThousandsOfItemsBelowAFolder) {
    constexpr int count = 1100;
    ledger.addFolder("7", "\\folder");
    for (int i = 0; i < count; ++i)
        ledger.addFile("7", "\\folder\\" + std::to_string(i), first, false);
    ledger.addFile("7", "\\folder]", first, false);
    runToEnd(ledger.removeTree("7", "\\folder"));
    EXPECT_EQ(pending("7"), "1102\\folder] ");
    EXPECT_EQ(ledger.count("withdrawn", "7"), count + 1);
}

} // namespace webservice
