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
    std::string file() const { return home_.temporary().path("QuenmarkTemp/.claims\\"); }

    Platform::RunLoop loop_;
    TestSupport::LogCapture log_;
    TestSupport::TemporaryHome home_;
    ItemClaims claims_{loop_};
    /// Locks of an open file description are as good against this process as against another one (fcntl(2)).
    ItemClaims other_{loop_};
};

TEST_F(AClaim, KeepsOthersFromItsPathWhileItLives) {
    auto claim = claims_.claim(path("a"), "1", claims_.now());
    ASSERT_NE(claim, nullptr);
    EXPECT_FALSE(has(claims_, "a"));
    EXPECT_FALSE(has(claims_, "a", "2")) << "a path is claimed, whatever identifier its item has";
    EXPECT_FALSE(has(other_, "a"));
    EXPECT_TRUE(has(claims_, "b"));
    EXPECT_TRUE(has(other_, "b"));
    claim.reset();
    EXPECT_TRUE(has(claims_, "a"));
    EXPECT_TRUE(has(other_, "a"));
}

TEST_F(AClaim, IsOfOneFileHoweverItsPathIsWritten) {
    const auto claim = claims_.claim(path("a\\b"), "1", claims_.now());
    for (const char* name : {"a/b", "a//b", "a/./b", "a/c/../b", "../QuenmarkTemp/a/b"}) {
        EXPECT_FALSE(has(claims_, name)) << name;
        EXPECT_FALSE(has(other_, name)) << name;
    }
    EXPECT_TRUE(has(claims_, "a"));
    EXPECT_TRUE(has(claims_, "ab"));
}

TEST_F(AClaim, MayOutliveTheClaims) {
    auto claims = std::make_unique<ItemClaims>(loop_);
    auto claim = claims->claim(path("a"), "1", claims->now());
    claims.reset();
    EXPECT_FALSE(has(other_, "a"));
    claim.reset();
    EXPECT_TRUE(has(other_, "a"));
}

TEST_F(AClaim, IsNotGivenForAnItemThatWasAcknowledgedSinceThePollWasSent) {
    const auto sent = claims_.now();
    claims_.acknowledged("1");
    EXPECT_EQ(claims_.claim(path("a"), "1", sent), nullptr);
    EXPECT_NE(claims_.claim(path("a"), "2", sent), nullptr) << "another item";
    EXPECT_NE(claims_.claim(path("a"), "1", claims_.now()), nullptr) << "offered again later";
    claims_.acknowledged(std::nullopt);
    EXPECT_EQ(claims_.claim(path("a"), std::nullopt, sent), nullptr);
    EXPECT_EQ(claims_.claim(path("a"), "(null)", sent), nullptr);
    EXPECT_EQ(claims_.claim(path("a"), "1", sent), nullptr) << "it is kept still";
}

TEST_F(AClaim, IsNotGivenForAPollThatIsOlderThanWhatIsKept) {
    const auto sent = claims_.now();
    for (std::size_t count = 0; count < ItemClaims::mostKept; ++count)
        claims_.acknowledged("1");
    EXPECT_NE(claims_.claim(path("a"), "2", sent), nullptr);
    const auto later = claims_.now();
    claims_.acknowledged("1");
    EXPECT_EQ(claims_.claim(path("a"), "2", sent), nullptr);
    EXPECT_NE(claims_.claim(path("a"), "2", later), nullptr);
}

TEST_F(AClaim, IsNotGivenWhereAnotherProcessHasAcknowledgedAnythingSinceThePollWasSent) {
    for (int round = 0; round < 3; ++round) {
        const auto sent = claims_.now();
        EXPECT_NE(claims_.claim(path("a"), "1", sent), nullptr);
        claims_.acknowledged("7");
        EXPECT_NE(claims_.claim(path("a"), "1", sent), nullptr) << "this process's own is known by its identifier";
        other_.acknowledged("9");
        EXPECT_EQ(claims_.claim(path("b"), "2", claims_.now()), nullptr) << "it may have been since";
        EXPECT_EQ(claims_.claim(path("a"), "1", sent), nullptr) << "also where it was noticed meanwhile";
        EXPECT_NE(claims_.claim(path("a"), "1", claims_.now()), nullptr);
    }
    EXPECT_EQ(Platform::Files::size(file()), 6U);
}

TEST_F(AClaim, IsGivenToAProcessThatStartsAfterOthersHaveAcknowledged) {
    other_.acknowledged("9");
    ItemClaims later(loop_);
    EXPECT_TRUE(has(later, "a"));
}

TEST_F(AClaim, IsNotGivenWhereAnotherProcessWasTheFirstToAcknowledge) {
    const auto sent = claims_.now();
    EXPECT_FALSE(Platform::Files::exists(file())) << "a poll makes no file";
    other_.acknowledged("9");
    EXPECT_EQ(claims_.claim(path("a"), "1", sent), nullptr);
    EXPECT_TRUE(has(claims_, "a"));
}

TEST_F(AClaim, IsNotGivenWhereTheFileWasReplacedSinceThePollWasSent) {
    EXPECT_TRUE(has(claims_, "a"));
    const auto sent = claims_.now();
    ASSERT_EQ(::rename(file().c_str(), home_.temporary().path("old").c_str()), 0);
    EXPECT_EQ(claims_.claim(path("a"), "2", sent), nullptr);
    EXPECT_TRUE(has(claims_, "a")) << "the new file is as good";
    claims_.acknowledged("1");
    EXPECT_TRUE(has(claims_, "a"));
    EXPECT_EQ(Platform::Files::size(file()), 1U);
}

TEST_F(AClaim, LeavesALockedFileThatNoItemCanBeInThePlaceOf) {
    EXPECT_TRUE(has(claims_, "a"));
    struct stat status {};
    ASSERT_EQ(::stat(file().c_str(), &status), 0);
    EXPECT_EQ(status.st_size, 0);
    EXPECT_EQ(LocalPaths::claimsFile(), file());
    EXPECT_NE(LocalPaths::temporaryPath("\\.claims\\"), file());
    EXPECT_TRUE(has(claims_, ".claims\\"));
}

TEST_F(AClaim, HoldsInThisProcessAloneWhereThereIsNoFileAndSaysSoOnce) {
    ASSERT_EQ(::symlink(home_.temporary().path().c_str(), home_.temporary().path("QuenmarkTemp").c_str()), 0);
    const std::string entry = "Other processes may fetch the same items: " + home_.temporary().path("QuenmarkTemp") +
                              ": refused, it is a symbolic link";
    auto claim = claims_.claim(path("a"), "1", claims_.now());
    ASSERT_NE(claim, nullptr);
    EXPECT_FALSE(has(claims_, "a"));
    EXPECT_TRUE(has(claims_, "b"));
    claims_.acknowledged("1");
    EXPECT_EQ(log_.count(entry), 1U);
    EXPECT_EQ(log_.priorityOf(entry), Platform::Log::Priority::Warning);
    ASSERT_EQ(::unlink(home_.temporary().path("QuenmarkTemp").c_str()), 0);
    EXPECT_TRUE(has(claims_, "c"));
    ASSERT_EQ(::rename(home_.temporary().path("QuenmarkTemp").c_str(), home_.temporary().path("moved").c_str()), 0);
    ASSERT_EQ(::symlink(home_.temporary().path().c_str(), home_.temporary().path("QuenmarkTemp").c_str()), 0);
    EXPECT_TRUE(has(claims_, "d"));
    EXPECT_EQ(log_.count(entry), 2U) << "and again once it was good";
}

TEST_F(AClaim, BelongsToTheLoopsOwnClaimsInAService) {
    auto& claims = ItemClaims::ofThisProcess();
    EXPECT_EQ(&claims, &ItemClaims::ofThisProcess());
    const auto claim = claims.claim(path("a"), "1", claims.now());
    EXPECT_FALSE(has(ItemClaims::ofThisProcess(), "a"));
}

} // namespace Quenmark
