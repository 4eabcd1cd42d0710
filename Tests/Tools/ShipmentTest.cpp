// The items of a file or folder that is pushed, and their targets.

#include "Tools/Shipment.h"

#include "Support/TemporaryDirectory.h"
#include "Tools/Failure.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>
#include <functional>

using namespace Tools;

namespace {

class AConsignment : public testing::Test {
protected:
    TestSupport::TemporaryDirectory folder;
};

ExitStatus statusOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const Failure& failure) {
        return failure.status();
    }
    return ExitStatus::Success;
}

std::string messageOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const Failure& failure) {
        return failure.what();
    }
    return "";
}

} // namespace

TEST_F(AConsignment, OfAFileIsTheFileUnderItsOwnName) {
    const auto path = folder.write("a b.txt", "12345");
    EXPECT_EQ(consignmentOf(path, std::nullopt).shipments, (std::vector<Shipment>{{path, "\\a b.txt", false, 5}}));
}

TEST_F(AConsignment, HasTheGivenName) {
    const auto path = folder.write("a.txt", "");
    for (const char* name : {"\\Docs\\b.txt", "Docs\\b.txt", "Docs/b.txt", "/Docs/b.txt"})
        EXPECT_EQ(consignmentOf(path, name).shipments, (std::vector<Shipment>{{path, "\\Docs\\b.txt", false, 0}}))
            << name;
}

TEST_F(AConsignment, OfAFolderHasEachFolderBeforeWhatIsInIt) {
    folder.write("root/b/deep/x", "1");
    folder.write("root/a", "22");
    folder.write("root/\xC3\xA9", "");
    std::filesystem::create_directory(folder.path("root/empty"));
    const auto path = folder.path("root");
    const auto consignment = consignmentOf(path + "/", std::nullopt);
    std::vector<std::string> names;
    for (const auto& shipment : consignment.shipments)
        names.push_back(shipment.name + (shipment.isFolder ? "\\" : ""));
    EXPECT_EQ(names, (std::vector<std::string>{"\\root\\", "\\root\\a", "\\root\\b\\", "\\root\\b\\deep\\",
                                               "\\root\\b\\deep\\x", "\\root\\empty\\", "\\root\\\xC3\xA9"}));
    EXPECT_EQ(consignment.shipments[1].localPath, folder.path("root/a"));
    EXPECT_EQ(consignment.shipments[1].size, 2U);
    EXPECT_EQ(consignment.leftOut, std::vector<std::string>());
}

TEST_F(AConsignment, LeavesOutWhatIsNeitherFileNorFolder) {
    folder.write("root/a", "");
    const auto root = folder.path("root");
    std::filesystem::create_symlink("a", root + "/link");
    ASSERT_EQ(::mkfifo((root + "/pipe").c_str(), 0600), 0);
    const auto consignment = consignmentOf(root, std::nullopt);
    EXPECT_EQ(consignment.shipments.size(), 2U);
    EXPECT_EQ(consignment.leftOut, (std::vector<std::string>{root + "/link is neither a file nor a folder",
                                                             root + "/pipe is neither a file nor a folder"}));
}

TEST_F(AConsignment, LeavesOutNamesThatCannotBeSentWithAllThatIsInThem) {
    folder.write("root/back\\slash/inside", "");
    folder.write("root/deep/line\nfeed", "");
    folder.write("root/deep/z", "");
    folder.write("root/bytes\xFF", "");
    const auto root = folder.path("root");
    const auto consignment = consignmentOf(root, std::nullopt);
    std::vector<std::string> names;
    for (const auto& shipment : consignment.shipments)
        names.push_back(shipment.name);
    EXPECT_EQ(names, (std::vector<std::string>{"\\root", "\\root\\deep", "\\root\\deep\\z"}));
    EXPECT_EQ(
        consignment.leftOut,
        (std::vector<std::string>{"\"" + root + "/back\\slash\": a part of a name cannot hold a slash or backslash",
                                  "\"" + root + "/bytes\xFF\": a name must be UTF-8",
                                  "\"" + root + "/deep/line\nfeed\": a name cannot hold control characters"}));
}

TEST_F(AConsignment, IsRefusedWhereNothingIsThere) {
    EXPECT_EQ(statusOf([&] { consignmentOf(folder.path("none"), std::nullopt); }), ExitStatus::NoInput);
    EXPECT_EQ(statusOf([&] { consignmentOf("", std::nullopt); }), ExitStatus::NoInput);
}

TEST_F(AConsignment, IsRefusedForWhatIsNeitherFileNorFolder) {
    const auto pipe = folder.path("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(statusOf([&] { consignmentOf(pipe, std::nullopt); }), ExitStatus::DataError);
}

TEST_F(AConsignment, IsRefusedUnderANameThatCannotBeSent) {
    const auto path = folder.write("a", "");
    for (const char* name : {"", "\\", "a\\", "a\\\\b", "..", "a\\..\\b", ".\\a", "a\nb", "a\x7F", "\xFF"})
        EXPECT_EQ(statusOf([&] { consignmentOf(path, name); }), ExitStatus::Usage) << name;
}

TEST_F(AConsignment, IsRefusedWhereALocalNameCannotBeSent) {
    for (const char* name : {"root/back\\slash", "line/line\nfeed", "bytes/\xFF"}) {
        const auto path = folder.write(name, "");
        EXPECT_EQ(statusOf([&] { consignmentOf(path, std::nullopt); }), ExitStatus::DataError) << name;
    }
}

TEST(TheOutboxTarget, EncodesEachPartOfTheName) {
    EXPECT_EQ(outboxTarget("17", {"", "\\a.txt", false, 0}), "/outbox/17/a.txt");
    EXPECT_EQ(outboxTarget("17", {"", "\\Docs\\Sub", true, 0}), "/outbox/17/Docs/Sub/");
    EXPECT_EQ(outboxTarget("my pc", {"", "\\a b%c?#&+\xC3\xA9~-_.", false, 0}),
              "/outbox/my%20pc/a%20b%25c%3F%23%26%2B%C3%A9~-_.");
}

TEST(TheOutboxTarget, IsRefusedForWhatIsNoComputer) {
    for (const char* computer : {"", ".", "..", "a/b", "a\\b", "a\n", "\xFF"})
        EXPECT_EQ(statusOf([&] { outboxTarget(computer, {"", "\\a", false, 0}); }), ExitStatus::Usage) << computer;
}

TEST_F(AConsignment, IsRefusedWithItsReason) {
    const auto path = folder.write("a", "");
    const auto reason = [&](const std::string& name) { return messageOf([&] { consignmentOf(path, name); }); };
    EXPECT_EQ(reason("a\\\\b"), "\"a\\\\b\": a part of a name cannot be empty, \".\" or \"..\"");
    EXPECT_EQ(reason("a\nb"), "\"a\nb\": a name cannot hold control characters");
    EXPECT_EQ(reason("a\x1F"), "\"a\x1F\": a name cannot hold control characters");
    EXPECT_EQ(reason("a\xFF"), "\"a\xFF\": a name must be UTF-8");
    EXPECT_EQ(reason("a b~"), "");
    EXPECT_EQ(messageOf([] {
                  outboxTarget("a/b", {"", "\\a", false, 0});
              }),
              "\"a/b\": a part of a name cannot hold a slash or backslash");
    const auto pipe = folder.path("pipe");
    ASSERT_EQ(::mkfifo(pipe.c_str(), 0600), 0);
    EXPECT_EQ(messageOf([&] { consignmentOf(pipe, std::nullopt); }), pipe + " is neither a file nor a folder");
    folder.write("root/back\\slash", "");
    EXPECT_EQ(messageOf([&] { consignmentOf(folder.path("root/back\\slash"), std::nullopt); }),
              "\"" + folder.path("root/back\\slash") + "\": a part of a name cannot hold a slash or backslash");
}

TEST(TheOutboxTarget, LeavesOnlyUnreservedCharactersAsTheyAre) {
    EXPECT_EQ(outboxTarget("AZaz09-._~", {"", "\\@[`{:!*'()\"$,;=|^", false, 0}),
              "/outbox/AZaz09-._~/%40%5B%60%7B%3A%21%2A%27%28%29%22%24%2C%3B%3D%7C%5E");
    EXPECT_EQ(outboxTarget("7", {"", "\\\xFE", false, 0}), "/outbox/7/%FE");
}
