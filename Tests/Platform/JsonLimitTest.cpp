// How much memory the value of a text may take.

#include "Platform/Json.h"

#include <boost/json.hpp>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <variant>

namespace {

namespace Json = Platform::Json;

std::string listOf(std::string_view element, std::size_t count) {
    std::string text = "[";
    text.reserve(count * (element.size() + 1) + 2);
    for (std::size_t index = 0; index < count; ++index) {
        if (index > 0)
            text += ',';
        text += element;
    }
    return text + "]";
}

std::string outcome(std::string_view text) {
    const auto result = Json::parse(text);
    const auto* error = std::get_if<Platform::Error>(&result);
    return error != nullptr ? error->localizedDescription : "read";
}

constexpr const char* refusal = "Not JSON: the value takes more than 256 MiB";

static_assert(sizeof(boost::json::value) == 24);

TEST(TheValueOfAText, TakesAtMost256MiB) {
    const std::string quoted = '"' + std::string(85 << 20, 'x') + '"';
    std::string list = listOf(quoted, 4);
    EXPECT_EQ(outcome(list), refusal);
    list.resize(list.size() - quoted.size() - 1);
    list.back() = ']';
    EXPECT_EQ(outcome(list), "read");
}

TEST(TheValueOfAText, IsRefusedWhileItIsReadNotAfterwards) {
    // 24 bytes an element, and the list is still open.
    std::string text = '[' + std::string(2 * 11'200'000, '1');
    for (std::size_t comma = 2; comma + 1 < text.size(); comma += 2)
        text[comma] = ',';
    EXPECT_EQ(outcome(text), refusal);
}

TEST(TheValueOfAText, HasItsSmallPartsSideBySide) {
    constexpr std::size_t count = 20'000;
    const std::string text(100, 'x');
    const std::string list = listOf('"' + text + '"', count);
    ASSERT_GE(list.size(), 1U << 20) << "shorter texts take their memory from the heap";
    const auto result = Json::parse(list);
    const auto& array = std::get<boost::json::value>(result).as_array();
    std::size_t neighbours = 0;
    for (std::size_t index = 1; index < array.size(); ++index) {
        const auto before = reinterpret_cast<std::uintptr_t>(array.at(index - 1).as_string().data());
        const auto here = reinterpret_cast<std::uintptr_t>(array.at(index).as_string().data());
        neighbours += here - before < text.size() + 24 ? 1U : 0U; // on the heap 128 bytes apart, or more
    }
    EXPECT_GT(neighbours, count - 20);
}

TEST(TheValueOfAText, MayGrowInTheHandsOfItsOwner) {
    auto result = Json::parse(listOf('"' + std::string(100 << 20, 'x') + '"', 1));
    auto& string = std::get<boost::json::value>(result).as_array().at(0).as_string();
    string.append(100 << 20, 'y');
    EXPECT_EQ(string.size(), 200U << 20);
    EXPECT_EQ(string.back(), 'y');
}

TEST(TheValueOfAText, OutlivesTheRestOfItsResponse) {
    boost::json::value kept;
    {
        auto result = Json::parse(listOf(R"({"name": "a text that is too long to lie in its value"})", 40'000));
        auto& array = std::get<boost::json::value>(result).as_array();
        kept = boost::json::value(std::move(array.at(39'999)), boost::json::storage_ptr());
    }
    EXPECT_EQ(kept.at("name"), "a text that is too long to lie in its value");
}

} // namespace
