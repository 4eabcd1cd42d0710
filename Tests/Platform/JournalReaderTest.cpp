// Reading the journal: of a systemd-journald(8) in namespaces of its own, and where there is none.

#include "Platform/JournalReader.h"

#include "Platform/Loop/RunLoop.h"
#include "Support/Namespaces.h"
#include "Support/Polling.h"
#include "Support/RunningJournal.h"
#include "Support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sched.h>
#include <sys/mount.h>

#include <cerrno>
#include <iostream>
#include <utility>
#include <vector>

namespace Platform {

namespace {

using Entries = std::vector<Journal::Entry>;

/// The messages of the last entries; an error's text where they cannot be read.
std::vector<std::string> lastMessages(std::size_t count) {
    const auto read = Journal::lastEntries("a-program", count);
    if (const auto* error = std::get_if<Error>(&read))
        return {error->localizedDescription};
    std::vector<std::string> messages;
    for (const auto& entry : std::get<Entries>(read))
        messages.push_back(entry.message);
    return messages;
}

bool readsBackWhatIsWritten() {
    const RunLoop loop;
    const TestSupport::RunningJournal journal;
    const std::vector<std::pair<const char*, const char*>> entries{
        {"a-program", "first"}, {"another", "another's"}, {"a-program", "second=x\x1b"}, {"a-program", "third"}};
    for (const auto& [program, message] : entries) {
        if (!journal.write(program, message))
            return false;
    }
    const std::vector<std::string> all{"first", "second=x\x1b", "third"};
    if (!TestSupport::pollUntil([&] { return lastMessages(10) == all; })) {
        for (const auto& message : lastMessages(10))
            std::cerr << message << std::endl;
        return false;
    }
    const auto read = Journal::lastEntries("a-program", 1);
    const auto& last = std::get<Entries>(read).at(0);
    return lastMessages(2) == std::vector<std::string>{all[1], all[2]} && last.message == "third" &&
           last.priority == "4" && last.time > 1'700'000'000'000'000;
}

} // namespace

TEST(TheJournal, GivesTheLastEntriesOfAProgram) {
    EXPECT_TRUE(TestSupport::succeedsInNamespaces(CLONE_NEWNS, readsBackWhatIsWritten));
}

TEST(TheJournal, IsMissedWhereThereIsNone) {
    EXPECT_TRUE(TestSupport::succeedsInNamespaces(CLONE_NEWNS, [] {
        for (const char* folder : {"/run", "/var/log"}) {
            if (::mount("none", folder, "tmpfs", 0, nullptr) != 0)
                return false;
        }
        return lastMessages(10) == std::vector<std::string>{"the journal: No such file or directory"};
    }));
}

TEST(TheJournal, HasNoEntriesInAnEmptyFolder) {
    const TestSupport::TemporaryDirectory folder;
    const auto empty = Journal::lastEntries("a-program", 10, folder.path());
    ASSERT_TRUE(std::holds_alternative<Entries>(empty));
    EXPECT_EQ(std::get<Entries>(empty), Entries());
    const auto missing = Journal::lastEntries("a-program", 10, folder.path("none"));
    ASSERT_TRUE(std::holds_alternative<Error>(missing));
    EXPECT_EQ(std::get<Error>(missing), (Error{"POSIX", ENOENT, "the journal: No such file or directory"}));
}

} // namespace Platform
