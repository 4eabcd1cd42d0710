// Every parser of the catalogue against responses that no server should send.

#include "Parsing/JsonText.h"
#include "Platform/Json.h"
#include "Services/Coding.h"
#include "Services/DataParser.h"
#include "Services/Properties.h"

#include <boost/json/parse.hpp>
#include <boost/json/serialize.hpp>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <string_view>
#include <type_traits>
#include <variant>
#include <vector>

namespace ServicesTests {

namespace {

using Quenmark::UnsupportedOperation;

boost::json::value nested(std::size_t depth) {
    boost::json::value value = "innermost";
    for (std::size_t level = 0; level < depth; ++level)
        value = level % 2 == 0 ? boost::json::value(boost::json::array{std::move(value)})
                               : boost::json::value(boost::json::object{{"k", std::move(value)}});
    return value;
}

/// One value of every kind, and some that are large or deep.
std::vector<boost::json::value> everyKindOfValue() {
    return {json("null"),
            json("true"),
            json("false"),
            json("0"),
            json("-9223372036854775808"),
            json("18446744073709551615"),
            json("1e308"),
            json("\"\""),
            json("\"text\\u0000with\\u0000zeros\""),
            boost::json::value(std::string(1 << 14, 'x')),
            json("[]"),
            json("[[], [1, null]]"),
            json("{}"),
            json(R"({"": {"": {}}})"),
            nested(50)};
}

template <class T>
struct IsList : std::false_type {};
template <class T>
struct IsList<std::vector<T>> : std::true_type {};

/// Calls `visit` with each operation of the catalogue that parses its response into one record.
template <class Visit>
void forEachRecordOperation(const Visit& visit) {
    const auto visitOne = [&](const auto& operation) {
        using Response = typename std::decay_t<decltype(operation)>::Response;
        if constexpr (!IsList<Response>::value && !std::is_same_v<Response, Quenmark::RawResponse> &&
                      !std::is_same_v<Response, Quenmark::ResponseField>)
            visit(operation);
    };
    std::apply([&](const auto&... operation) { (visitOne(operation), ...); }, Quenmark::Catalogue::operations);
}

TEST(EveryParser, FailsForWhatIsNoObject) {
    std::size_t parsers = 0;
    for (const auto& value : everyKindOfValue()) {
        if (value.is_object())
            continue;
        parsers = 0;
        forEachRecordOperation([&](const auto& operation) {
            ++parsers;
            EXPECT_THROW(operation.decode(boost::json::value(value)), UnsupportedOperation) << operation.name;
        });
        EXPECT_THROW(Quenmark::DataParser::parseUploadFileWithStreamResponseData(boost::json::value(value)),
                     UnsupportedOperation);
        EXPECT_THROW(Quenmark::DataParser::parseUpdateSendFileToTransferResponseData(boost::json::value(value)),
                     UnsupportedOperation);
    }
    EXPECT_EQ(parsers, 35U);
}

TEST(EveryParser, KeepsAValueOfAnyKindInAnyFieldOfItsRecord) {
    std::size_t fields = 0;
    for (const auto& value : everyKindOfValue()) {
        fields = 0;
        forEachRecordOperation([&](const auto& operation) {
            using Record = typename std::decay_t<decltype(operation)>::Response;
            Quenmark::forEachField<Record>([&](const auto& field) {
                using Member = std::decay_t<decltype(std::declval<Record>().*field.member)>;
                if constexpr (std::is_same_v<Member, Quenmark::ResponseField>) {
                    if (field.key == Quenmark::notOnTheWire)
                        return;
                    ++fields;
                    const auto record = operation.decode(boost::json::object{{field.key, value}});
                    Record only;
                    only.*field.member = value;
                    EXPECT_EQ(record, only) << operation.name << ' ' << field.key;
                }
            });
        });
    }
    EXPECT_GT(fields, 80U);
}

TEST(EveryParser, DecodesAnObjectOfOtherKeysAsARecordOfNils) {
    boost::json::object others;
    for (int key = 0; key < 1000; ++key)
        others.emplace("Key" + std::to_string(key), nested(3));
    forEachRecordOperation([&](const auto& operation) {
        using Record = typename std::decay_t<decltype(operation)>::Response;
        EXPECT_EQ(operation.decode(boost::json::value(others)), Record{}) << operation.name;
    });
}

TEST(EveryParser, DecodesTheDeepestResponseThatIsRead) {
    const std::size_t depth = Platform::Json::maximumDepth - 1;
    const std::string deep = std::string(depth, '[') + std::string(depth, ']');
    const auto parsed = Platform::Json::parse(R"({"ReturnStatus": )" + deep + "}");
    const auto* response = std::get_if<boost::json::value>(&parsed);
    ASSERT_NE(response, nullptr);
    forEachRecordOperation([&](const auto& operation) {
        const auto properties = Quenmark::propertiesOf(operation.decode(boost::json::value(*response)));
        const char* name = properties.contains("returnStatus") ? "returnStatus" : "ReturnStatus";
        EXPECT_EQ(boost::json::serialize(properties.at(name)), deep) << operation.name;
    });
}

TEST(AResponse, IsNotReadWhenItIsNestedTooDeep) {
    const std::size_t most = Platform::Json::maximumDepth;
    const auto text = [](std::size_t depth) { return std::string(depth, '[') + std::string(depth, ']'); };
    EXPECT_TRUE(std::holds_alternative<boost::json::value>(Platform::Json::parse(text(most))));
    EXPECT_TRUE(std::holds_alternative<Platform::Error>(Platform::Json::parse(text(most + 1))));
    EXPECT_TRUE(std::holds_alternative<Platform::Error>(Platform::Json::parse(std::string(1 << 20, '['))));
}

TEST(AResponse, IsRefusedWhereItsRecordsTakeMoreThan256MiB) {
    using Quenmark::DataParser;
    const auto empties = [](std::size_t count) { return boost::json::array(count, boost::json::object()); };
    // Half of it for each of two lists, and one too many.
    const std::size_t files = (128 << 20) / sizeof(Quenmark::FileToTransfer);
    const std::size_t received = (128 << 20) / sizeof(Quenmark::RecFileFromTransfer);
    EXPECT_EQ(DataParser::parseGetSharedFilesTransferDataResponseData(
                  boost::json::object{{"FileToTransfer", empties(files)}, {"RecFileFromTransfer", empties(received)}})
                  .RecFileFromTransferArray.size(),
              received);
    EXPECT_THROW(DataParser::parseGetSharedFilesTransferDataResponseData(boost::json::object{
                     {"FileToTransfer", empties(files)}, {"RecFileFromTransfer", empties(received + 2)}}),
                 Quenmark::ResponseTooLarge);
    const std::size_t results = (256 << 20) / sizeof(Quenmark::SyncFilesInTableAndCloudResponseData);
    EXPECT_THROW(DataParser::parseSyncFilesInTableAndCloudResponseData(empties(results + 1)),
                 Quenmark::ResponseTooLarge);
}

} // namespace

} // namespace ServicesTests
