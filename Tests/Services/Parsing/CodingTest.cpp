// How much the records of a response may take, and what the errors of decoding say.

#include "Services/CodingDefinitions.h"
#include "Services/DataParser.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace ServicesTests {

namespace {

using Quenmark::DataParser;

std::string decodingError(const std::function<void()>& decode) {
    try {
        decode();
    } catch (const std::exception& error) {
        return error.what();
    }
    return "";
}

TEST(TheBudgetOfAResponse, IsExactly256MiB) {
    Quenmark::RecordsBudget budget;
    budget.take((256 << 20) - 24, 1);
    budget.take(2, 12);
    budget.take(0, 100);
    EXPECT_THROW(budget.take(1, 1), Quenmark::ResponseTooLarge);
    Quenmark::RecordsBudget other;
    EXPECT_THROW(other.take((256 << 20) + 1, 1), Quenmark::ResponseTooLarge);
    EXPECT_THROW(other.take(SIZE_MAX, SIZE_MAX), Quenmark::ResponseTooLarge);
    other.take(1, 256 << 20);
}

TEST(AnErrorOfDecoding, NamesWhatIsWrongWithTheResponse) {
    EXPECT_EQ(decodingError([] { DataParser::parseLogErrorResponseData(boost::json::array()); }),
              "the response is not a dictionary");
    EXPECT_EQ(decodingError([] { DataParser::parseSyncFilesInTableAndCloudResponseData("text"); }),
              "the response has no list where one belongs");
    EXPECT_EQ(decodingError([] {
                  DataParser::parseSyncFilesInTableAndCloudResponseData(boost::json::object{{"ReturnStatus", "0"}});
              }),
              "the response has no list where one belongs");
    EXPECT_EQ(decodingError([] {
                  DataParser::parseUploadFileWithStreamResponseData(boost::json::object{{"ReturnStatus", "0"}});
              }),
              "a status value has no error to set");
    EXPECT_EQ(decodingError([] { DataParser::parseSyncFilesInTableAndCloudResponseData(boost::json::object()); }), "");
}

} // namespace

} // namespace ServicesTests
