#include "Platform/Secret.h"

#include <gtest/gtest.h>

#include <array>
#include <new>
#include <string_view>

namespace {

using Platform::Secret;

/// The bytes of an object that may have ended, where a short text lies.
template <class Object>
std::string_view bytesOf(const Object& object) {
    return {reinterpret_cast<const char*>(&object), sizeof object};
}

TEST(ASecret, GivesItsTextToTheOneThatItIsMovedTo) {
    Secret first(std::string("a text that is too long to lie in the object itself"));
    Secret second(std::move(first));
    EXPECT_EQ(second.text(), "a text that is too long to lie in the object itself");
    EXPECT_EQ(first.text(), ""); // NOLINT(bugprone-use-after-move): that is the question
    Secret third(std::string("other"));
    third = std::move(second);
    EXPECT_EQ(third.text(), "a text that is too long to lie in the object itself");
    EXPECT_EQ(second.text(), ""); // NOLINT(bugprone-use-after-move)
}

TEST(ASecret, LeavesNothingOfAShortTextWhereItWas) {
    std::string text = "hidden";
    Secret::wipe(text);
    EXPECT_EQ(text, "");
    EXPECT_EQ(bytesOf(text).find("hidden"), std::string_view::npos);
    Secret first(std::string("hidden"));
    EXPECT_NE(bytesOf(first).find("hidden"), std::string_view::npos);
    const Secret second(std::move(first));
    EXPECT_EQ(bytesOf(first).find("hidden"), std::string_view::npos); // NOLINT(bugprone-use-after-move)
}

TEST(ASecret, LeavesNothingOfALongTextWhereItWas) {
    std::string text = "a text that is too long to lie in the object itself";
    const char* place = text.data();
    Secret::wipe(text);
    // The block is still the string's.
    EXPECT_EQ(text.data(), place);
    EXPECT_EQ(std::string_view(place, text.capacity()), std::string(text.capacity(), '\0'));
}

TEST(ASecret, IsOverwrittenWhenItGoes) {
    alignas(Secret) std::array<unsigned char, sizeof(Secret)> place{};
    auto* secret = new (place.data()) Secret(std::string("hidden"));
    EXPECT_NE(bytesOf(place).find("hidden"), std::string_view::npos);
    secret->~Secret();
    EXPECT_EQ(bytesOf(place).find("hidden"), std::string_view::npos);
}

} // namespace
