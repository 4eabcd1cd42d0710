#include "TopFileUploadXpcService/ItemClaims.h"

#include "Platform/Files/Files.h"
#include "Platform/Loop/RunLoop.h"
#include "Support/LogCapture.h"
#include "Support/TemporaryHome.h"
#include "TopFileUploadXpcService/LocalPaths.h"

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <string>

namespace Quenmark {

class AClaim : public testing::Test {
protected:
    static std::string path(const std::string& name) { return LocalPaths::temporaryPath("\\" + name); }
    bool has(ItemClaims& claims, const std::string& name, const std::string& id = "1") const {
        return claims.claim(path(name), id, claims.now()) != nullptr;
    }
    std::string file() const { return home.temporary().path("QuenmarkTemp/.claims\\"); }

    Platform::RunLoop loop;
    TestSupport::LogCapture log;
    TestSupport::TemporaryHome home;
    ItemClaims ours{loop};
    /// Locks of an open file description are as good against this process as against another one (fcntl(2)).
    ItemClaims other{loop};
};

TEST_F(AClaim, KeepsOthersFromItsPathWhileItLives) {
    auto claim = ours.claim(path("a"), "1", ours.now());
    ASSERT_NE(claim, nullptr);
    EXPECT_FALSE(has(ours, "a"));
    EXPECT_FALSE(has(ours, "a", "2")) << "a path is claimed, whatever identifier its item has";
    EXPECT_FALSE(has(other, "a"));
    EXPECT_TRUE(has(ours, "b"));
    EXPECT_TRUE(has(other, "b"));
    claim.reset();
    EXPECT_TRUE(has(ours, "a"));
    EXPECT_TRUE(has(other, "a"));
}

TEST_F(AClaim, IsOfOneFileHoweverItsPathIsWritten) {
    const auto claim = ours.claim(path("a\\b"), "1", ours.now());
    for (const char* name : {"a/b", "a//b", "a/./b", "a/c/../b", "../QuenmarkTemp/a/b"}) {
        EXPECT_FALSE(has(ours, name)) << name;
        EXPECT_FALSE(has(other, name)) << name;
    }
    EXPECT_TRUE(has(ours, "a"));
    EXPECT_TRUE(has(ours, "ab"));
}

TEST_F(AClaim, MayOutliveTheClaims) {
    auto claims = std::make_unique<ItemClaims>(loop);
    auto claim = claims->claim(path("a"), "1", claims->now());
    claims.reset();
    EXPECT_FALSE(has(other, "a"));
    claim.reset();
    EXPECT_TRUE(has(other, "a"));
}

TEST_F(AClaim, IsNotGivenForAnItemThatWasAcknowledgedSinceThePollWasSent) {
    const auto sent = ours.now();
    ours.acknowledged("1");
    EXPECT_EQ(ours.claim(path("a"), "1", sent), nullptr);
    EXPECT_NE(ours.claim(path("a"), "2", sent), nullptr) << "another item";
    EXPECT_NE(ours.claim(path("a"), "1", ours.now()), nullptr) << "offered again later";
    ours.acknowledged(std::nullopt);
    EXPECT_EQ(ours.claim(path("a"), std::nullopt, sent), nullptr);
    EXPECT_EQ(ours.claim(path("a"), "(null)", sent), nullptr);
    EXPECT_EQ(ours.claim(path("a"), "1", sent), nullptr) << "it is kept still";
}

TEST_F(AClaim, IsNotGivenForAPollThatIsOlderThanWhatIsKept) {
    const auto sent = ours.now();
    for (std::size_t count = 0; count < ItemClaims::maxKept; ++count)
        ours.acknowledged("1");
    EXPECT_NE(ours.claim(path("a"), "2", sent), nullptr);
    const auto later = ours.now();
    ours.acknowledged("1");
    EXPECT_EQ(ours.claim(path("a"), "2", sent), nullptr);
    EXPECT_NE(ours.claim(path("a"), "2", later), nullptr);
}

TEST_F(AClaim, IsNotGivenWhereAnotherProcessHasAcknowledgedAnythingSinceThePollWasSent) {
    for (int round = 0; round < 3; ++round) {
        const auto sent = ours.now();
        EXPECT_NE(ours.claim(path("a"), "1", sent), nullptr);
        ours.acknowledged("7");
        EXPECT_NE(ours.claim(path("a"), "1", sent), nullptr) << "this process's own is known by its identifier";
        other.acknowledged("9");
        EXPECT_EQ(ours.claim(path("b"), "2", ours.now()), nullptr) << "it may have been since";
        EXPECT_EQ(ours.claim(path("a"), "1", sent), nullptr) << "also where it was noticed meanwhile";
        EXPECT_NE(ours.claim(path("a"), "1", ours.now()), nullptr);
    }
    EXPECT_EQ(Platform::Files::size(file()), 6U);
}

TEST_F(AClaim, IsGivenToAProcessThatStartsAfterOthersHaveAcknowledged) {
    other.acknowledged("9");
    ItemClaims later(loop);
    EXPECT_TRUE(has(later, "a"));
}

TEST_F(AClaim, IsNotGivenWhereAnotherProcessWasTheFirstToAcknowledge) {
    const auto sent = ours.now();
    EXPECT_FALSE(Platform::Files::exists(file())) << "a poll makes no file";
    other.acknowledged("9");
    EXPECT_EQ(ours.claim(path("a"), "1", sent), nullptr);
    EXPECT_TRUE(has(ours, "a"));
}

TEST_F(AClaim, IsNotGivenWhereTheFileWasReplacedSinceThePollWasSent) {
    EXPECT_TRUE(has(ours, "a"));
    const auto sent = ours.now();
    ASSERT_EQ(::rename(file().c_str(), home.temporary().path("old").c_str()), 0);
    EXPECT_EQ(ours.claim(path("a"), "2", sent), nullptr);
    EXPECT_TRUE(has(ours, "a")) << "the new file is as good";
    ours.acknowledged("1");
    EXPECT_TRUE(has(ours, "a"));
    EXPECT_EQ(Platform::Files::size(file()), 1U);
}

TEST_F(AClaim, LeavesALockedFileThatNoItemCanBeInThePlaceOf) {
    EXPECT_TRUE(has(ours, "a"));
    struct stat status {};
    ASSERT_EQ(::stat(file().c_str(), &status), 0);
    EXPECT_EQ(status.st_size, 0);
    EXPECT_EQ(LocalPaths::claimsFile(), file());
    EXPECT_NE(LocalPaths::temporaryPath("\\.claims\\"), file());
    EXPECT_TRUE(has(ours, ".claims\\"));
}

TEST_F(AClaim, HoldsInThisProcessAloneWhereThereIsNoFileAndSaysSoOnce) {
    ASSERT_EQ(::symlink(home.temporary().path().c_str(), home.temporary().path("QuenmarkTemp").c_str()), 0);
    const std::string entry = "Other processes may fetch the same items: " + home.temporary().path("QuenmarkTemp") +
                              ": refused, it is a symbolic link";
    auto claim = ours.claim(path("a"), "1", ours.now());
    ASSERT_NE(claim, nullptr);
    EXPECT_FALSE(has(ours, "a"));
    EXPECT_TRUE(has(ours, "b"));
    ours.acknowledged("1");
    EXPECT_EQ(log.count(entry), 1U);
    EXPECT_EQ(log.priorityOf(entry), Platform::Log::Priority::Warning);
    ASSERT_EQ(::unlink(home.temporary().path("QuenmarkTemp").c_str()), 0);
    EXPECT_TRUE(has(ours, "c"));
    ASSERT_EQ(::rename(home.temporary().path("QuenmarkTemp").c_str(), home.temporary().path("moved").c_str()), 0);
    ASSERT_EQ(::symlink(home.temporary().path().c_str(), home.temporary().path("QuenmarkTemp").c_str()), 0);
    EXPECT_TRUE(has(ours, "d"));
    EXPECT_EQ(log.count(entry), 2U) << "and again once it was good";
}

TEST_F(AClaim, BelongsToTheLoopsOwnClaimsInAService) {
    auto& claims = ItemClaims::ofThisProcess();
    EXPECT_EQ(&claims, &ItemClaims::ofThisProcess());
    const auto claim = claims.claim(path("a"), "1", claims.now());
    EXPECT_FALSE(has(ItemClaims::ofThisProcess(), "a"));
}

} // namespace Quenmark
