// The doctor's checks as a table and as JSON.

#include "Tools/Doctor/CheckTable.h"
#include "Tools/Doctor/Doctor.h"

#include <boost/json/serialize.hpp>
#include <gtest/gtest.h>

namespace Tools {

namespace {

const std::vector<Check> oneOfEach{okCheck("session bus", "connected"),
                                   warningCheck("service", "does not run", "Run: quenmark start"),
                                   failureCheck("folder", "/a b does not exist", "Mount its disk")};

TEST(ATableOfChecks, HasALineForEachAndCountsWhatIsNotFine) {
    EXPECT_EQ(checkTable(oneOfEach, false, std::nullopt),
              "ok       session bus             connected\n"
              "warning  service                 does not run. Run: quenmark start\n"
              "failure  folder                  /a b does not exist. Mount its disk\n"
              "1 failure, 1 warning\n");
    EXPECT_EQ(checkTable({}, false, std::nullopt), "0 failures, 0 warnings\n");
    EXPECT_EQ(checkTable({okCheck("certificateAuthorities", "x")}, false, std::nullopt),
              "ok       certificateAuthorities  x\n0 failures, 0 warnings\n");
}

TEST(ATableOfChecks, ColoursItsMarks) {
    EXPECT_EQ(checkTable(oneOfEach, true, std::nullopt),
              "\x1b[32mok       \x1b[0msession bus             connected\n"
              "\x1b[33mwarning  \x1b[0mservice                 does not run. Run: quenmark start\n"
              "\x1b[31mfailure  \x1b[0mfolder                  /a b does not exist. Mount its disk\n"
              "1 failure, 1 warning\n");
}

TEST(ATableOfChecks, StaysLeftOfTheLastColumn) {
    EXPECT_EQ(checkTable({oneOfEach[1]}, false, 58), "warning  service                 does not run. Run:\n"
                                                     "                                 quenmark start\n"
                                                     "0 failures, 1 warning\n");
    EXPECT_EQ(checkTable({okCheck("a", std::string(22, 'x'))}, false, 1),
              "ok       a                       xxxxxxxxxxxxxxxxxxxx\n"
              "                                 xx\n0 failures, 0 warnings\n")
        << "on a narrower terminal 20 columns";
}

TEST(AnArrayOfChecks, HasFourTextsForEach) {
    EXPECT_EQ(boost::json::serialize(checksJson(oneOfEach)),
              R"([{"check":"session bus","state":"ok","detail":"connected","advice":""},)"
              R"({"check":"service","state":"warning","detail":"does not run","advice":"Run: quenmark start"},)"
              R"({"check":"folder","state":"failure","detail":"/a b does not exist","advice":"Mount its disk"}])");
    EXPECT_EQ(boost::json::serialize(checksJson({})), "[]");
}

TEST(Health, IsLostByAFailureAlone) {
    EXPECT_TRUE(isHealthy({oneOfEach[0], oneOfEach[1]}));
    EXPECT_FALSE(isHealthy({oneOfEach[0], oneOfEach[2]}));
}

} // namespace

} // namespace Tools
