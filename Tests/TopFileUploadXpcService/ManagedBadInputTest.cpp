// Names, records and items of the file system that managed mode does not expect: the process lives, nothing outside of
// the folder is touched, and the item arrives once the cause is gone.

#include "Platform/Files/Files.h"
#include "Support/AnotherAccount.h"
#include "TopFileUploadXpcService/DeliveryFixture.h"
#include "TopFileUploadXpcService/ItemClaims.h"
#include "TopFileUploadXpcService/LocalPaths.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

namespace Quenmark {

namespace Files = Platform::Files;
namespace fs = std::filesystem;
using TestSupport::OfAnotherAccount;

class AnItemWithBadInput : public DeliveryFixture {
protected:
    AnItemWithBadInput() {
        home.write("precious.txt", "precious");
        start();
    }
    /// Asserts that attempts fail with a reason that begins so, and that nothing is acknowledged.
    void expectFailure(const std::string& reason) {
        ASSERT_TRUE(letTimePassUntil([&] {
            return std::ranges::any_of(log.entries(), [&](const std::string& entry) {
                return entry.starts_with(reason) && entry.find("; the next attempt follows in ") != std::string::npos;
            });
        })) << reason
            << ::testing::PrintToString(log.entries());
        const auto before = failures();
        ASSERT_TRUE(letTimePassUntil([&] { return failures() >= before + 2; }));
        EXPECT_EQ(confirmations, 0);
    }
    void expectNothingElseTouched() const {
        EXPECT_EQ(home.read("precious.txt"), "precious");
        EXPECT_EQ(std::get<0>(Files::contentsOfDirectory(home.path())),
                  (std::vector<std::string>{"Quenmark", "precious.txt"}));
    }
    static void link(const std::string& target, const std::string& path) {
        Files::createDirectory(Files::deletingLastPathComponent(path));
        ASSERT_EQ(::symlink(target.c_str(), path.c_str()), 0);
    }
    std::string record() const { return LocalPaths::recordFile(temporary(localName())); }
    /// A name of so many components, as it is on the wire or in JSON.
    static std::string nameOf(std::size_t components, const std::string& component, bool isJson) {
        std::string name;
        for (std::size_t index = 0; index < components; ++index)
            name += (isJson ? R"(\\)" : "\\") + component;
        return name;
    }
    void offerNameOf(std::size_t components, const std::string& component) {
        offerNext(nameOf(components, component, true), nameOf(components, component, false));
    }

    static constexpr std::size_t partial = 40'000;
};

TEST_P(AnItemWithBadInput, ArrivesWhereAnotherItemsPartialFileIsInTheWayOfItsFolder) {
    offerNext(R"(\\A)", "\\A");
    leavePartial(partial);
    offerNext(R"(\\A\\B\\c.txt)", "\\A\\B\\c.txt");
    expectArrival({0});
    EXPECT_EQ(failures(), 1U);
}

TEST_P(AnItemWithBadInput, ArrivesWhereOtherItemsPartialFilesAreInAFolderInItsWay) {
    offerNext(R"(\\A\\B\\c.txt)", "\\A\\B\\c.txt");
    leavePartial(partial);
    offerNext(R"(\\A\\d.txt)", "\\A\\d.txt");
    leavePartial(partial);
    link(home.path(), temporary("A/home"));
    offerNext(R"(\\A)", "\\A");
    expectArrival({0});
    EXPECT_EQ(failures(), 2U);
    expectNothingElseTouched();
}

TEST_P(AnItemWithBadInput, ArrivesWhereAnEmptyFolderIsInItsWayInTheTemporaryArea) {
    Files::createDirectory(temporary("A"));
    offerNext(R"(\\A)", "\\A");
    expectArrival({0});
    EXPECT_EQ(failures(), 0U);
}

TEST_P(AnItemWithBadInput, WaitsForAFileInItsWayThatAnotherEngineIsAtWorkOn) {
    writeFile(temporary("A"), "in work");
    auto& claims = ItemClaims::ofThisProcess();
    auto claim = claims.claim(temporary("A"), "99", claims.now());
    offerNext(R"(\\A\\b.txt)", "\\A\\b.txt");
    expectFailure("file in the way");
    EXPECT_EQ(contentOf(temporary("A")), "in work");
    claim.reset();
    ASSERT_TRUE(letTimePassUntil([&] { return confirmations == 1; }));
    EXPECT_TRUE(contentOf(placed("A/b.txt")) == content());
}

TEST_P(AnItemWithBadInput, TakesThePlaceOfALinkInTheTemporaryArea) {
    offerNext();
    link(home.path("precious.txt"), temporary(localName()));
    expectArrival({0});
    expectNothingElseTouched();
}

TEST_P(AnItemWithBadInput, WaitsWhereAFolderOnItsWayIsALink) {
    link(home.path(), temporary("Docs"));
    offerNext();
    expectFailure("not writable: " + temporary("Docs"));
    expectNothingElseTouched();
    fs::remove(temporary("Docs"));
    ASSERT_TRUE(letTimePassUntil([&] { return confirmations == 1; }));
    EXPECT_TRUE(contentOf(placed(localName())) == content());
}

TEST_P(AnItemWithBadInput, WaitsWhereTheFolderOfTheRecordsIsALink) {
    link(home.path(), temporary(".records\\"));
    offerNext();
    expectFailure("not writable: " + temporary(".records\\"));
    expectNothingElseTouched();
    fs::remove(temporary(".records\\"));
    ASSERT_TRUE(letTimePassUntil([&] { return confirmations == 1; }));
    EXPECT_TRUE(contentOf(placed(localName())) == content());
}

TEST_P(AnItemWithBadInput, WaitsWhereTheFolderOfTheRecordsIsAFile) {
    writeFile(temporary(".records\\"), "a file");
    offerNext();
    expectFailure("file in the way");
    fs::remove(temporary(".records\\"));
    ASSERT_TRUE(letTimePassUntil([&] { return confirmations == 1; }));
    EXPECT_TRUE(contentOf(placed(localName())) == content());
}

TEST_P(AnItemWithBadInput, ArrivesWhereItsRecordIsALink) {
    offerNext();
    link(home.path("precious.txt"), record());
    expectArrival({0});
    expectNothingElseTouched();
}

TEST_P(AnItemWithBadInput, IsFetchedAnewWhereItsRecordSaysNothing) {
    const std::vector<std::string> records = {"",
                                              "\n",
                                              "no JSON\n",
                                              "{}\n",
                                              "[]\n",
                                              R"({"FileUploadID":[]})"
                                              "\n",
                                              std::string(100'000, '{') + "\n",
                                              R"({"FileUploadID":"ID","Device":-1,"Inode":1e300,"Total":{}})"
                                              "\n",
                                              std::string("\0\n", 2)};
    for (const auto& text : records) {
        offerNext();
        leavePartial(partial);
        std::string filled = text;
        if (const auto place = filled.find("\"ID\""); place != std::string::npos)
            filled.replace(place + 1, 2, identifier());
        Files::write(record(), filled);
        expectArrival({0, 0});
    }
}

TEST_P(AnItemWithBadInput, IsFetchedAnewWhereItsRecordIsHuge) {
    offerNext();
    leavePartial(partial);
    fs::resize_file(record(), std::uintmax_t{1} << 40);
    expectArrival({0, 0});
}

TEST_P(AnItemWithBadInput, ContinuesWhereTheLastLineOfItsRecordWasCut) {
    offerNext();
    leavePartial(partial);
    Files::write(record(), contentOf(record()) + R"({"FileUploadID":"1","De)");
    expectArrival({0, partial});
}

TEST_P(AnItemWithBadInput, IsFetchedAnewWhereItsRecordWasCutBeforeItsFirstEnd) {
    offerNext();
    leavePartial(partial);
    const auto whole = contentOf(record());
    Files::write(record(), whole.substr(0, whole.size() - 1));
    expectArrival({0, 0});
}

TEST_P(AnItemWithBadInput, TakesThePlaceOfAnotherUsersFiles) {
    offerNext();
    writeFile(temporary(localName()), "another's");
    const OfAnotherAccount partialFile(temporary(localName()));
    writeFile(placed(localName()), "another's");
    const OfAnotherAccount placedFile(placed(localName()));
    expectArrival({0});
    EXPECT_EQ(failures(), 0U);
}

TEST_P(AnItemWithBadInput, WaitsWhereAFolderOnItsWayIsAnotherUsers) {
    Files::createDirectory(temporary("Docs"));
    const OfAnotherAccount folder(temporary("Docs"));
    offerNext();
    expectFailure("not writable: " + temporary("Docs"));
    fs::remove(temporary("Docs"));
    ASSERT_TRUE(letTimePassUntil([&] { return confirmations == 1; }));
    EXPECT_TRUE(contentOf(placed(localName())) == content());
}

TEST_P(AnItemWithBadInput, OfThreeHundredComponentsArrives) {
    offerNameOf(300, "a");
    expectArrival({0});
}

TEST_P(AnItemWithBadInput, OfALongNameWaitsAndTheNextOneArrives) {
    offerNameOf(1, std::string(5000, 'a'));
    expectFailure("not writable: " + temporary("aaa"));
    offerNext();
    expectArrival({0});
    EXPECT_EQ(std::get<0>(Files::contentsOfDirectory(placed(""))), std::vector<std::string>{"Docs"});
}

TEST_P(AnItemWithBadInput, OfALongPathWaitsAndTheNextOneArrives) {
    offerNameOf(50, std::string(100, 'a'));
    expectFailure("not writable: " + placed("aaa"));
    EXPECT_EQ(offsets(), std::vector<std::size_t>{0}) << "its bytes wait";
    offerNext();
    expectArrival({0});
    EXPECT_TRUE(fs::is_directory(placed("Docs")));
    expectNothingElseTouched();
}

TEST_P(AnItemWithBadInput, WhoseStreamHasFieldsThatAreNotUtf8Arrives) {
    offerNext();
    auto fields = goodFields();
    for (auto& [name, value] : fields) {
        if (name == "FileName" || name == "ServerPath" || name == "TransitUploadPath")
            value = "\\\xFC\xC3(\xE2\x82.txt";
    }
    server.enqueue(streamTarget, HttpReply::ok(content(), fields));
    expectArrival({0});
}

TEST_P(AnItemWithBadInput, WaitsWhereNoFileCanBeOpenedAndContinuesLater) {
    // The sanitizer looks at a type with descriptors of its own, once: all of this has happened before.
    link(home.path(), temporary("Docs"));
    offerNext();
    ASSERT_TRUE(runUntil([&] { return failures() == 1; }));
    fs::remove(temporary("Docs"));
    ASSERT_TRUE(letTimePassUntil([&] { return confirmations == 1; }));

    offerNext();
    const auto whole = streamFrom(0);
    server.enqueue(streamTarget, whole.cutAfter(whole.bytes().size() - content().size() + partial));
    ASSERT_TRUE(letTimePassUntil([&] { return bytesOnDisk() == partial; }));
    const auto connection = last(streamTarget).connection;
    const int free = ::dup(STDERR_FILENO);
    ::close(free);
    rlimit before{};
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    const rlimit full{static_cast<rlim_t>(free), before.rlim_max};
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &full), 0);
    server.send(connection, content().substr(partial));
    const bool hasFailed = runUntil([&] { return failures() == 2; });
    const bool hasFailedMore = letTimePassUntil([&] { return failures() == 5; });
    EXPECT_EQ(::setrlimit(RLIMIT_NOFILE, &before), 0);
    ASSERT_TRUE(hasFailed && hasFailedMore) << ::testing::PrintToString(log.entries());
    EXPECT_EQ(bytesOnDisk(), partial);
    expectArrival({0, partial});
}

INSTANTIATE_TEST_SUITE_P(Transports, AnItemWithBadInput, ::testing::Values(release10_10, release10_7), transportName);

} // namespace Quenmark
