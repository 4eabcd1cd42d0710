// Contents that computers have streamed up.

#include "WebService/Storage/Cloud.h"

#include "Support/TemporaryFolder.h"
#include "WebService/Storage/Schema.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace webservice::test {

namespace {

class ACloud : public ::testing::Test {
protected:
    ACloud() {
        db.script("INSERT INTO users (id, mail, password, code) VALUES (1, 'a', 'a', 'a'), (2, 'b', 'b', 'b')");
    }

    std::int64_t store(std::optional<std::int64_t> user, std::string_view path, std::string_view content) {
        folder.write("incoming", content);
        return cloud.store({.id = 99,
                            .user = user,
                            .fullPath = std::string(path),
                            .name = "\\" + std::string(path),
                            .size = static_cast<std::int64_t>(content.size()),
                            .request = "7",
                            .transitPath = "t"},
                           folder.path("incoming").string());
    }

    std::string contentOf(std::int64_t id) { return test::contentOf(folder.path("cloud/" + std::to_string(id))); }

    TemporaryFolder folder;
    StateDatabase db{folder.path("state.db").string()};
    Cloud cloud{db, folder.path("cloud").string()};
};

} // namespace

TEST_F(ACloud, FindsWhatWasStoredByPathAndByName) {
    EXPECT_EQ(store(1, "a", "one"), 1);
    for (const char* path : {"a", "\\a", "/a"}) {
        const auto found = cloud.find(path, 1);
        ASSERT_TRUE(found) << path;
        EXPECT_EQ(found->id, 1);
        EXPECT_EQ(found->user, 1);
        EXPECT_EQ(found->fullPath, "a");
        EXPECT_EQ(found->name, "\\a");
        EXPECT_EQ(found->size, 3);
        EXPECT_EQ(found->request, "7");
        EXPECT_EQ(found->transitPath, "t");
    }
    EXPECT_TRUE(cloud.find("a"));
    EXPECT_FALSE(cloud.find("a", 2));
    EXPECT_FALSE(cloud.find("b"));
    EXPECT_EQ(contentOf(1), "one");
}

TEST_F(ACloud, HasOneContentForAUserAndAPath) {
    EXPECT_EQ(store(1, "a", "one"), 1);
    EXPECT_EQ(store(1, "a", "three"), 1);
    EXPECT_EQ(cloud.find("a")->size, 5);
    EXPECT_EQ(contentOf(1), "three");
    const std::int64_t other = store(2, "a", "two");
    const std::int64_t nobodys = store(std::nullopt, "a", "none");
    EXPECT_EQ(contentOf(1), "three");
    EXPECT_EQ(contentOf(other), "two");
    EXPECT_EQ(contentOf(nobodys), "none");
    EXPECT_EQ(cloud.find("a", 2)->id, other);
    EXPECT_EQ(cloud.find("a")->id, nobodys);
    EXPECT_EQ(cloud.find("a")->user, std::nullopt);
}

TEST_F(ACloud, RemovesAndRenamesTheContentsOfOneUser) {
    store(1, "a", "one");
    const std::int64_t replaced = store(1, "b", "two");
    const std::int64_t other = store(2, "a", "three");
    cloud.rename(1, "a", "b", "\\b");
    EXPECT_FALSE(cloud.find("a", 1));
    EXPECT_EQ(cloud.find("b", 1)->id, 1);
    EXPECT_EQ(cloud.find("b", 1)->name, "\\b");
    EXPECT_FALSE(std::filesystem::exists(folder.path("cloud/" + std::to_string(replaced))));
    cloud.remove(1, "b");
    EXPECT_FALSE(cloud.find("b"));
    EXPECT_FALSE(std::filesystem::exists(folder.path("cloud/1")));
    EXPECT_EQ(contentOf(other), "three");
}

TEST_F(ACloud, KeepsAContentUntilItsRemovalIsStored) {
    store(1, "a", "one");
    store(1, "b", "two");
    {
        const Transaction undone(db);
        cloud.remove(1, "a");
    }
    cloud.discardRemoved();
    EXPECT_EQ(contentOf(1), "one");
    Transaction transaction(db);
    cloud.rename(1, "a", "b", "\\b");
    cloud.discardRemoved();
    EXPECT_EQ(contentOf(2), "two");
    transaction.commit();
    cloud.discardRemoved();
    EXPECT_FALSE(std::filesystem::exists(folder.path("cloud/2")));
    EXPECT_EQ(contentOf(1), "one");
}

TEST_F(ACloud, ListsTheContentsOfAUserAfterAnIdentifier) {
    store(1, "a", "1");
    store(2, "a", "2");
    store(1, "b", "3");
    EXPECT_EQ(cloud.filesOf(1, 0).size(), 2U);
    ASSERT_EQ(cloud.filesOf(1, 1).size(), 1U);
    EXPECT_EQ(cloud.filesOf(1, 1).front().fullPath, "b");
    EXPECT_TRUE(cloud.filesOf(1, 3).empty());
}

TEST_F(ACloud, LinksAContentAndCreatesItsFolderAgain) {
    store(1, "a", "one");
    cloud.link(1, folder.path("link").string());
    EXPECT_EQ(test::contentOf(folder.path("link")), "one");
    std::filesystem::remove_all(folder.path("cloud"));
    EXPECT_EQ(contentOf(store(1, "a", "two")), "two");
}

TEST_F(ACloud, RemovesContentsThatAreNotRecordedWhenItIsMade) {
    store(1, "a", "one");
    for (const char* file : {"cloud/2", "cloud/2x", "cloud/x"})
        folder.write(file, "x");
    const Cloud next(db, folder.path("cloud").string());
    EXPECT_EQ(contentOf(1), "one");
    EXPECT_FALSE(std::filesystem::exists(folder.path("cloud/2")));
    EXPECT_TRUE(std::filesystem::exists(folder.path("cloud/2x"))) << "which is no content";
    EXPECT_TRUE(std::filesystem::exists(folder.path("cloud/x")));
}

} // namespace webservice::test
