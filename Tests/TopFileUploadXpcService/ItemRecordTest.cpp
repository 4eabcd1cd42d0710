// What is known of a temporary file, and what a record is worth that is not as it should be.

#include "TopFileUploadXpcService/ItemRecord.h"

#include "Platform/Files/Files.h"
#include "Platform/Loop/RunLoop.h"
#include "Support/TemporaryHome.h"
#include "TopFileUploadXpcService/LocalPaths.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <variant>

namespace Quenmark {

namespace Files = Platform::Files;
using Step = EnginePolicy::FetchPlan::Step;

class AnItemRecord : public ::testing::Test {
protected:
    static constexpr const char* content = "0123456789";

    ItemRecord record(const std::optional<std::string>& identifier = "12") const { return {paths, identifier}; }
    /// Begins the item, and writes the first bytes of it.
    void begin(std::size_t size, std::optional<std::uint64_t> total = 10) const {
        ASSERT_EQ(record().begin(total), std::nullopt);
        ASSERT_EQ(Files::write(paths.temporary, std::string_view(content).substr(0, size)), std::nullopt);
    }
    /// What `inspect` finds; nil where the record cannot be read.
    using Found = std::optional<std::pair<Step, std::uint64_t>>;
    static Found found(Step step, std::uint64_t offset) { return std::pair(step, offset); }
    static Found found(const ItemRecord& record) {
        const auto result = record.inspect();
        const auto* plan = std::get_if<EnginePolicy::FetchPlan>(&result);
        return plan != nullptr ? found(plan->step, plan->offset) : std::nullopt;
    }
    static Found fromTheStart() { return found(Step::Download, 0); }
    std::string file() const { return LocalPaths::recordFile(paths.temporary); }

    Platform::RunLoop loop;
    TestSupport::TemporaryHome home;
    const ItemPaths paths{home.temporary().path("QuenmarkTemp/a.txt"), home.path("Quenmark/a.txt"), home.path()};
};

TEST_F(AnItemRecord, KnowsWhereAPartialFileOfItsItemEnds) {
    begin(4);
    EXPECT_EQ(found(record()), found(Step::Download, 4));
    EXPECT_TRUE(record().fits(10));
    EXPECT_TRUE(record().fits(std::nullopt));
    EXPECT_FALSE(record().fits(9));
    EXPECT_FALSE(record().isComplete());
    EXPECT_TRUE(record().continuesAt(4));
    EXPECT_FALSE(record().continuesAt(0));
}

TEST_F(AnItemRecord, OfAnotherItemOrOfNoneIsWorthNothing) {
    begin(4);
    EXPECT_EQ(found(record("13")), fromTheStart());
    EXPECT_FALSE(Files::exists(paths.temporary));
    EXPECT_FALSE(Files::exists(file()));
    begin(4);
    EXPECT_EQ(found(record(std::nullopt)), fromTheStart());
    EXPECT_FALSE(Files::exists(paths.temporary));
}

TEST_F(AnItemRecord, KnowsACompleteFileBeforeAndAfterItIsPlaced) {
    begin(10);
    EXPECT_TRUE(record().isComplete());
    ASSERT_EQ(record().complete(), std::nullopt);
    EXPECT_EQ(found(record()), found(Step::Place, 10));
    EXPECT_FALSE(record().continuesAt(10));
    ASSERT_EQ(Files::createDirectory(home.path("Quenmark")), std::nullopt);
    ASSERT_EQ(Files::moveItem(paths.temporary, paths.final), std::nullopt);
    EXPECT_EQ(found(record()), found(Step::Acknowledge, 10));
    ASSERT_EQ(Files::write(paths.final, "changed by somebody"), std::nullopt);
    EXPECT_EQ(found(record()), fromTheStart());
    EXPECT_EQ(home.read("Quenmark/a.txt"), "changed by somebody");
}

TEST_F(AnItemRecord, OfUnknownSizeIsCompleteWhenItsStreamHasEnded) {
    begin(4, std::nullopt);
    EXPECT_TRUE(record().fits(7));
    EXPECT_TRUE(record().isComplete());
}

TEST_F(AnItemRecord, OfAFileThatIsTooLongIsWorthNothing) {
    begin(10, 9);
    EXPECT_EQ(found(record()), fromTheStart());
    EXPECT_FALSE(Files::exists(paths.temporary));
}

TEST_F(AnItemRecord, ThatIsNoRecordIsWorthNothing) {
    for (const char* text : {"", "\n", "{}\n", "[]\n", "17\n", "{\"FileUploadID\":12}\n", "{\"FileUploadID\":null}\n",
                             "{\"FileUploadID\":\"12\"}\n", "{\"FileUploadID\":\"12\",\"Device\":\"x\",\"Inode\":-1}\n",
                             "{\"FileUploadID\":\"12\",\"Device\":1e300,\"Inode\":[]}\n", "{\"FileUploadID\":\"12\""}) {
        begin(4);
        ASSERT_EQ(Files::write(file(), text), std::nullopt);
        EXPECT_EQ(found(record()), fromTheStart()) << text;
        EXPECT_FALSE(Files::exists(paths.temporary)) << text;
    }
}

TEST_F(AnItemRecord, CountsByItsLastWholeLine) {
    begin(10);
    ASSERT_EQ(record().complete(), std::nullopt);
    const auto lines = Files::contents(file());
    ASSERT_EQ(Files::write(file(), std::get<std::string>(lines) + "{\"FileUploadID\":\"99"), std::nullopt);
    EXPECT_EQ(found(record()), found(Step::Place, 10));
}

TEST_F(AnItemRecord, ForgetsTheFileToo) {
    begin(4);
    record().forget();
    EXPECT_FALSE(Files::exists(paths.temporary));
    EXPECT_FALSE(Files::exists(file()));
}

} // namespace Quenmark
