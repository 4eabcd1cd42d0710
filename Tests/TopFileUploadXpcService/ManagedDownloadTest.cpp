// What managed mode makes of an item: it is acknowledged when it is complete, in its place and durable, and never
// before; one that is no good item or cannot be placed is offered again.

#include "Platform/Files/Files.h"
#include "TopFileUploadXpcService/ManagedFixture.h"

#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

namespace Quenmark {

namespace Files = Platform::Files;

class AManagedItem : public ManagedFixture {
protected:
    AManagedItem() { answerNothing(); }
};

TEST_P(AManagedItem, IsMadeWithTheFoldersThatAreMissing) {
    enqueueItem(R"(\\A\\B\\c.txt)", "\\A\\B\\c.txt", "content");
    start();
    ASSERT_TRUE(hasEnded(2));
    EXPECT_EQ(contentOf(placed("A/B/c.txt")), "content");
    EXPECT_EQ(last(acknowledgeTarget).body,
              "{\n  \"FileUploadID\" : \"12\",\n  \"FileName\" : \"\\\\A\\\\B\\\\c.txt\",\n"
              "  \"ServerPath\" : \"C:\\\\up\\\\13\",\n  \"TransitUploadPath\" : \"t\\\\13\"\n}");
    EXPECT_EQ(records(), std::vector<std::string>{});
}

TEST_P(AManagedItem, ReplacesTheFileThatIsThere) {
    writeFile(placed("a.txt"), "a longer old content");
    const auto old = Platform::FileState::at(placed("a.txt"));
    enqueueItem(R"(\\a.txt)", "\\a.txt", "new");
    start();
    ASSERT_TRUE(hasEnded(2));
    EXPECT_EQ(contentOf(placed("a.txt")), "new");
    EXPECT_FALSE(Platform::FileState::at(placed("a.txt"))->isSameFileAs(*old)) << "in one step, not in place";
}

TEST_P(AManagedItem, ReplacesALinkAndNotWhatItLeadsTo) {
    writeFile(home.path() + "/precious.txt", "precious");
    ASSERT_EQ(::symlink((home.path() + "/precious.txt").c_str(), placed("a.txt").c_str()), 0);
    enqueueItem(R"(\\a.txt)", "\\a.txt", "new");
    start();
    ASSERT_TRUE(hasEnded(2));
    EXPECT_EQ(contentOf(placed("a.txt")), "new");
    EXPECT_EQ(contentOf(home.path() + "/precious.txt"), "precious");
}

TEST_P(AManagedItem, OfNoBytesBecomesAnEmptyFile) {
    enqueueItem(R"(\\a.txt)", "\\a.txt", "");
    start();
    ASSERT_TRUE(hasEnded(2));
    EXPECT_EQ(contentOf(placed("a.txt")), "");
    EXPECT_EQ(count(acknowledgeTarget), 1U);
}

TEST_P(AManagedItem, ThatIsAFolderIsMadeAndAcknowledged) {
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\A\\B)", "False")));
    confirm();
    start();
    ASSERT_TRUE(hasEnded(2));
    EXPECT_TRUE(Files::isDirectory(placed("A/B")));
    EXPECT_EQ(count(acknowledgeTarget), 1U);
    EXPECT_EQ(count(streamTarget), 0U);
}

TEST_P(AManagedItem, OfAnotherIdentifierThanThePollsIsNotTaken) {
    offer(R"(\\a.txt)");
    server.enqueue(streamTarget, HttpReply::ok("wrong", fieldsOf("\\a.txt", "13")));
    offer(R"(\\a.txt)");
    server.enqueue(streamTarget, HttpReply::ok("wrong", {{"ReturnStatus", "0"}}));
    start();
    ASSERT_TRUE(waitForFailure("bad response"));
    EXPECT_FALSE(Files::exists(temporary("a.txt"))) << "no byte is written";
    pass(2);
    ASSERT_TRUE(hasEnded(2));
    EXPECT_FALSE(Files::exists(temporary("a.txt")));
    EXPECT_EQ(count(acknowledgeTarget), 0U);
}

TEST_P(AManagedItem, WhoseStreamSaysThatItIsAFolderIsNotTaken) {
    offer(R"(\\a.txt)");
    auto headers = fieldsOf("\\a.txt");
    headers[1].second = "False";
    server.enqueue(streamTarget, HttpReply::ok("", headers));
    start();
    ASSERT_TRUE(waitForFailure("bad response"));
    EXPECT_FALSE(Files::exists(placed("a.txt")));
    EXPECT_EQ(count(acknowledgeTarget), 0U);
}

TEST_P(AManagedItem, OfAnErrorPageIsNotTaken) {
    offer(R"(\\a.txt)");
    server.enqueue(streamTarget, HttpReply::status(503, "please wait", fieldsOf("\\a.txt")));
    start();
    ASSERT_TRUE(waitForFailure("bad response"));
    EXPECT_FALSE(Files::exists(temporary("a.txt")));
}

TEST_P(AManagedItem, IsOfferedAgainAfterAnyStatusOfItsStream) {
    const std::vector<std::string> statuses = {"1", "2", "-1", "99", "7 "};
    for (const auto& status : statuses) {
        offer(R"(\\a.txt)");
        server.enqueue(streamTarget, HttpReply::ok("not the item", {{"ReturnStatus", status}}));
    }
    enqueueItem(R"(\\a.txt)", "\\a.txt", "content");
    start();
    expectFailures(statuses.size());
    ASSERT_TRUE(hasEnded(statuses.size() + 2));
    EXPECT_TRUE(hasFailed("status 1", 2));
    EXPECT_TRUE(hasFailed("status 2", 4));
    EXPECT_EQ(contentOf(placed("a.txt")), "content");
}

TEST_P(AManagedItem, ThatCannotBePlacedWaitsAndIsNotFetchedAgain) {
    Files::createDirectory(placed("a.txt"));
    enqueueItem(R"(\\a.txt)", "\\a.txt", "content");
    offer(R"(\\a.txt)");
    offer(R"(\\a.txt)");
    start();
    ASSERT_TRUE(waitForFailure("folder in the way"));
    EXPECT_EQ(contentOf(temporary("a.txt")), "content");
    expectPollAfter(2, 2);
    ASSERT_TRUE(hasEnded(2));
    EXPECT_EQ(count(acknowledgeTarget), 0U);
    std::filesystem::remove(placed("a.txt"));
    expectPollAfter(4, 3);
    ASSERT_TRUE(hasEnded(4));
    EXPECT_EQ(contentOf(placed("a.txt")), "content");
    EXPECT_EQ(count(streamTarget), 1U);
    EXPECT_EQ(count(acknowledgeTarget), 1U);
}

TEST_P(AManagedItem, IsBlockedByAFileInThePlaceOfAFolder) {
    writeFile(placed("A"), "a file");
    offer(R"(\\A\\b.txt)");
    stream("\\A\\b.txt", "content");
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\A)", "False")));
    start();
    ASSERT_TRUE(waitForFailure("file in the way"));
    pass(2);
    ASSERT_TRUE(hasEnded(2));
    EXPECT_TRUE(hasFailed("file in the way", 4));
    EXPECT_EQ(count(acknowledgeTarget), 0U);
    EXPECT_EQ(contentOf(placed("A")), "a file");
}

TEST_P(AManagedItem, IsBlockedWhereTheFolderOfTheUserIsMissing) {
    const std::string missing = home.path() + "/disk";
    setPreferences(R"({"computerIdKey":"7","quenmarkPathKey":")" + missing + "\"}");
    offer(R"(\\a.txt)");
    stream("\\a.txt", "content");
    start();
    ASSERT_TRUE(waitForFailure("not writable: " + missing));
    EXPECT_FALSE(Files::exists(missing));
    Files::createDirectory(missing);
    offer(R"(\\a.txt)");
    confirm();
    pass(2);
    ASSERT_TRUE(hasEnded(3));
    EXPECT_EQ(contentOf(missing + "/Quenmark/a.txt"), "content");
    EXPECT_EQ(count(streamTarget), 1U);
}

TEST_P(AManagedItem, IsBlockedWhereNoFolderOfTheUserIsSet) {
    setPreferences(R"({"computerIdKey":"7"})");
    offer(R"(\\a.txt)");
    stream("\\a.txt", "content");
    start();
    ASSERT_TRUE(waitForFailure("not writable: (null)"));
    EXPECT_EQ(count(acknowledgeTarget), 0U);
}

TEST_P(AManagedItem, IsBlockedWhereTheTemporaryAreaIsALink) {
    Files::createDirectory(home.temporary().path() + "/elsewhere");
    ASSERT_EQ(::symlink((home.temporary().path() + "/elsewhere").c_str(),
                        (home.temporary().path() + "/QuenmarkTemp").c_str()),
              0);
    offer(R"(\\a.txt)");
    stream("\\a.txt", "content");
    start();
    ASSERT_TRUE(waitForFailure("not writable: " + home.temporary().path() + "/QuenmarkTemp"));
    EXPECT_EQ(std::get<0>(Files::contentsOfDirectory(home.temporary().path() + "/elsewhere")),
              std::vector<std::string>{});
    EXPECT_EQ(count(acknowledgeTarget), 0U);
}

TEST_P(AManagedItem, WhoseNameLeavesTheFolderIsNotAskedFor) {
    const std::vector<std::string> names = {
        R"(\\..\\a.txt)", R"(\\A\\..\\a.txt)", R"(\\.\\a.txt)", R"(\\A\\\\a.txt)", R"(\\A\\)",     R"(\\)",
        R"(a.txt)",       R"(A\\a.txt)",       R"()",           R"(\\a\u0000b)",   R"(/../a.txt)", R"(\\A/../a.txt)"};
    double wait = 2;
    for (const auto& name : names)
        offer(name);
    start();
    for (std::size_t poll = 1; poll <= names.size(); ++poll, wait = std::min(wait * 2, 300.0)) {
        ASSERT_TRUE(hasEnded(poll));
        EXPECT_TRUE(hasFailed("name leaves the folder", int(wait))) << names[poll - 1];
        expectPollAfter(wait, poll + 1);
    }
    EXPECT_EQ(count(streamTarget), 0U);
    EXPECT_EQ(count(acknowledgeTarget), 0U);
}

TEST_P(AManagedItem, WhoseStreamNamesAPlaceOutsideTheFolderIsNotTaken) {
    for (const char* name : {"\\..\\a.txt", "a.txt", ""}) {
        offer(R"(\\a.txt)");
        stream(name, "content");
    }
    start();
    expectFailures(2);
    ASSERT_TRUE(hasEnded(3));
    EXPECT_TRUE(hasFailed("name leaves the folder", 8));
    EXPECT_FALSE(Files::exists(temporary("a.txt")));
    EXPECT_EQ(count(acknowledgeTarget), 0U);
}

TEST_P(AManagedItem, OfNoKnownKindIsABadResponse) {
    server.enqueue(pollTarget, HttpReply::json(item(R"(\\a.txt)", "maybe")));
    start();
    ASSERT_TRUE(waitForFailure("bad response"));
    EXPECT_FALSE(Files::exists(placed("a.txt")));
    EXPECT_EQ(count(acknowledgeTarget), 0U);
}

INSTANTIATE_TEST_SUITE_P(Transports, AManagedItem, ::testing::Values(release10_10, release10_7), transportName);

} // namespace Quenmark
