// What a reader of the console's events is sent, and when.

#include "WebService/Console/EventReader.h"

#include "Support/TemporaryFolder.h"
#include "WebService/Console/Events.h"
#include "WebService/Storage/Schema.h"

#include <gtest/gtest.h>

namespace webservice {

namespace {

using namespace std::chrono_literals;

class AnEventReader : public ::testing::Test {
protected:
    /// What it gives until it has nothing more to give.
    std::string takeAll() {
        std::string all;
        for (std::string piece = reader.take(now); !piece.empty(); piece = reader.take(now))
            all += piece;
        return all;
    }

    void addItem(const char* computer) {
        db.run("INSERT INTO uploads (computer, name, is_file, position, state) VALUES (?1, '\\a', 1, 1, 'pending')",
               computer);
    }

    test::TemporaryFolder folder;
    StateDatabase db{folder.path("state.db").string()};
    Streams streams;
    Events events{db, streams};
    EventReader::Clock::time_point now{1h};
    EventReader reader{events, now};
};

/// A request that has sent some bytes.
class Progress : public RequestProgress {
public:
    std::uint64_t sent() const override { return bytes; }
    std::chrono::duration<double, std::milli> time() const override { return {}; }

    std::uint64_t bytes = 0;
};

} // namespace

TEST_F(AnEventReader, IsGivenAnEventAtOnceAndOnce) {
    bool isWoken = false;
    reader.wake = [&] { isWoken = true; };
    events.push("request", R"({"id":1})");
    EXPECT_TRUE(isWoken);
    EXPECT_EQ(takeAll(), "event: request\ndata: {\"id\":1}\n\n");
    EXPECT_EQ(takeAll(), "");
}

TEST_F(AnEventReader, IsGivenACommentAfterFifteenSeconds) {
    EXPECT_EQ(reader.idleTime(now), 15s);
    now += 14s;
    EXPECT_EQ(takeAll(), "");
    EXPECT_EQ(reader.idleTime(now), 1s);
    now += 1s;
    EXPECT_EQ(takeAll(), ":\n\n");
    EXPECT_EQ(reader.idleTime(now), 15s);
}

TEST_F(AnEventReader, IsToldOfChangedTablesFourTimesASecond) {
    const auto addUser = [this](const char* mail) {
        db.run("INSERT INTO users (mail, password, code) VALUES (?1, 'x', ?1)", mail);
    };
    addUser("a");
    db.run("INSERT INTO mails (sent_at, recipient, subject, body) VALUES ('', '', '', '')");
    EXPECT_EQ(takeAll(), "event: changed\ndata: {\"tables\":[\"mails\",\"users\"]}\n\n");
    now += 100ms;
    addUser("b");
    addUser("c");
    EXPECT_EQ(takeAll(), "");
    EXPECT_EQ(reader.idleTime(now), 150ms);
    now += 150ms;
    EXPECT_EQ(takeAll(), "event: changed\ndata: {\"tables\":[\"users\"]}\n\n");
    EXPECT_EQ(reader.idleTime(now), 15s);
}

TEST_F(AnEventReader, IsToldOfEachTableByTheNameOfItsList) {
    const auto tables = [this](Sql statement) {
        db.run(statement);
        now += 250ms;
        const std::string event = takeAll();
        const std::string begin = "event: changed\ndata: {\"tables\":[";
        EXPECT_EQ(event.substr(0, begin.size()), begin);
        return event.substr(begin.size());
    };
    EXPECT_EQ(tables("INSERT INTO users (mail, password, code) VALUES ('a', 'x', 'a')"), "\"users\"]}\n\n");
    EXPECT_EQ(tables("INSERT INTO computers (user, quenmark_path, is_cloud) VALUES (1, '/', 0)"),
              "\"computers\"]}\n\n");
    EXPECT_EQ(tables("INSERT INTO files (computer, full_path, is_file) VALUES (1, 'a', 1)"), "\"files\"]}\n\n");
    EXPECT_EQ(tables("INSERT INTO requests (file, from_shared) VALUES (1, 0)"), "\"file-requests\"]}\n\n");
    EXPECT_EQ(tables("INSERT INTO transfers (file, from_computer, to_computer, is_file, full_path) "
                     "VALUES (1, 1, 1, 1, 'a')"),
              "\"transfers\"]}\n\n");
    EXPECT_EQ(tables("INSERT INTO errors (received_at) VALUES ('')"), "\"errors\"]}\n\n");
    db.run("INSERT INTO deletions (computer, path) VALUES (1, 'a')");
    now += 250ms;
    EXPECT_EQ(takeAll(), "") << "no list shows it";
}

TEST_F(AnEventReader, IsToldWhichQueuesHaveChanged) {
    addItem("9");
    addItem("10");
    addItem("9");
    EXPECT_EQ(takeAll(), "event: computers\ndata: {\"computers\":[\"10\",\"9\"]}\n\n");
    db.run("UPDATE uploads SET state = 'acknowledged' WHERE computer = '10'");
    now += 250ms;
    EXPECT_EQ(takeAll(), "event: computers\ndata: {\"computers\":[\"10\"]}\n\n");
}

TEST_F(AnEventReader, IsWokenWhereThereWillBeEvents) {
    int woken = 0;
    reader.wake = [&] { ++woken; };
    events.changed("users");
    EXPECT_EQ(woken, 1);
    events.changed("users");
    events.changed("mails");
    addItem("1");
    EXPECT_EQ(woken, 1) << "it waits for them already";
    EXPECT_NE(takeAll(), "");
    woken = 0;
    addItem("1");
    EXPECT_EQ(woken, 1);
    events.streamBegan();
    EXPECT_EQ(woken, 2);
}

TEST_F(AnEventReader, HasLostEventsWhereTheDatabaseFails) {
    addItem("1");
    db.run("ALTER TABLE uploads RENAME TO gone");
    EXPECT_EQ(takeAll(), "event: lost\ndata: {}\n\n");
    db.run("ALTER TABLE gone RENAME TO uploads");
    now += 250ms;
    EXPECT_EQ(takeAll(), "");
    addItem("2");
    EXPECT_EQ(takeAll(), "event: computers\ndata: {\"computers\":[\"2\"]}\n\n");
}

TEST_F(AnEventReader, IsToldOfNothingBeforeItsTransactionIsStored) {
    Transaction together(db);
    addItem("1");
    db.run("INSERT INTO mails (sent_at, recipient, subject, body) VALUES ('', '', '', '')");
    EXPECT_EQ(takeAll(), "");
    EXPECT_EQ(reader.idleTime(now), 1ms);
    events.push("request", "{}");
    EXPECT_EQ(takeAll(), "event: request\ndata: {}\n\n");
    together.commit();
    EXPECT_EQ(reader.idleTime(now), 0ms);
    EXPECT_EQ(takeAll(), "event: computers\ndata: {\"computers\":[\"1\"]}\n\n"
                         "event: changed\ndata: {\"tables\":[\"mails\"]}\n\n");
}

TEST_F(AnEventReader, IsToldOfAllQueuesWhereVeryManyItemsHaveChanged) {
    addItem("1");
    EXPECT_EQ(takeAll(), "event: computers\ndata: {\"computers\":[\"1\"]}\n\n");
    Transaction together(db);
    for (int i = 0; i < 1001; ++i)
        addItem("2");
    together.commit();
    now += 250ms;
    EXPECT_EQ(takeAll(), "event: computers\ndata: {\"computers\":[\"1\",\"2\"]}\n\n");
    addItem("3");
    now += 250ms;
    EXPECT_EQ(takeAll(), "event: computers\ndata: {\"computers\":[\"3\"]}\n\n");
}

TEST_F(AnEventReader, HasLostEventsWhereVeryManyQueuesHaveChanged) {
    Transaction together(db);
    for (int i = 0; i < 1001; ++i)
        addItem(std::to_string(i).c_str());
    together.commit();
    EXPECT_EQ(takeAll(), "event: lost\ndata: {}\n\n");
}

TEST_F(AnEventReader, IsToldOfDownloadsWhileThereAreSomeAndOnceMore) {
    Progress progress;
    Stream stream;
    stream.item = 3;
    stream.computer = "7";
    stream.name = "\\a";
    stream.offset = 100;
    stream.length = 900;
    stream.progress = &progress;
    stream.sentBefore = 50;
    const auto handle = streams.add(stream);
    progress.bytes = 250;
    const std::string first = takeAll();
    EXPECT_TRUE(
        first.starts_with("event: streams\ndata: {\"streams\":[{\"item\":3,\"computer\":\"7\",\"name\":\"\\\\a\","
                          "\"bytes\":300,\"total\":1000,\"bytesPerSecond\":"))
        << first;
    EXPECT_EQ(reader.idleTime(now), 250ms);
    EXPECT_EQ(takeAll(), "");
    streams.remove(handle);
    now += 250ms;
    EXPECT_EQ(takeAll(), "event: streams\ndata: {\"streams\":[]}\n\n");
    now += 250ms;
    EXPECT_EQ(takeAll(), "");
}

TEST_F(AnEventReader, ThatIsTooSlowLosesEventsAndIsTold) {
    const std::string data(64 * 1024, 'x');
    for (int i = 0; i < 3; ++i)
        events.push("request", data);
    const std::string taken = reader.take(now); // and not sent yet
    EXPECT_EQ(taken.size(), data.size() + 23);
    for (int i = 0; i < 2; ++i)
        events.push("request", data);
    EXPECT_EQ(takeAll(), "event: lost\ndata: {}\n\nevent: request\ndata: " + data + "\n\n")
        << "256 KiB, with those that are being sent, have no room for a fifth one";
    events.push("request", "{}");
    EXPECT_EQ(takeAll(), "event: request\ndata: {}\n\n");
}

TEST(TheEvents, HaveSixteenReaders) {
    const test::TemporaryFolder folder;
    StateDatabase db(folder.path("state.db").string());
    Streams streams;
    Events events(db, streams);
    EXPECT_FALSE(events.hasReaders());
    std::vector<std::shared_ptr<EventReader>> readers;
    for (int i = 0; i < 16; ++i) {
        readers.push_back(events.open("1.2"));
        ASSERT_TRUE(readers.back());
        EXPECT_EQ(readers.back()->take(EventReader::Clock::now()), "event: hello\ndata: {\"version\":\"1.2\"}\n\n");
    }
    EXPECT_FALSE(events.open("1.2"));
    readers.pop_back();
    EXPECT_TRUE(events.open("1.2"));
    readers.clear();
    EXPECT_FALSE(events.hasReaders());
    db.run("INSERT INTO mails (sent_at, recipient, subject, body) VALUES ('', '', '', '')");
}

TEST(TheRateOfADownload, IsThatOfTheLastSeconds) {
    Progress progress;
    Stream stream;
    stream.length = 1'000'000;
    stream.progress = &progress;
    const auto start = Stream::Clock::now() + 1s;
    progress.bytes = 1000;
    EXPECT_NEAR(static_cast<double>(stream.bytesPerSecond(start)), 1000, 100);
    progress.bytes = 11'000;
    EXPECT_EQ(stream.bytesPerSecond(start + 1s), 10'000);
    progress.bytes = 21'000;
    EXPECT_EQ(stream.bytesPerSecond(start + 2s), 10'000);
    EXPECT_EQ(stream.bytesPerSecond(start + 12s), 0);
}

} // namespace webservice
