// Identifiers: their text, their equality, and their values in messages.

#include "XPCWrappers/XPCUUID.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <variant>
#include <vector>

namespace {

using Platform::Ipc::Uuid;
using Platform::Ipc::Value;
using Quenmark::XPCUUID;

constexpr XPCUUID::Bytes bytes{0x68, 0x75, 0x3A, 0x44, 0x4D, 0x6F, 0x12, 0x26,
                               0x9C, 0x60, 0x00, 0x50, 0xE4, 0xC0, 0x00, 0x67};

TEST(AnXPCUUID, HasTheCanonicalText) {
    const auto uuid = XPCUUID::initWithUUIDRef(bytes);
    EXPECT_EQ(uuid.string(), "68753A44-4D6F-1226-9C60-0050E4C00067");
    EXPECT_EQ(uuid.description(), "<XPCUUID 68753A44-4D6F-1226-9C60-0050E4C00067>");
    EXPECT_EQ(uuid.uuidRef(), bytes);
}

TEST(AnXPCUUID, KeepsItsBytesInAMessage) {
    const auto uuid = XPCUUID::uuidWithXPCObject(Uuid{bytes});
    EXPECT_EQ(uuid.uuidRef(), bytes);
    EXPECT_EQ(uuid.newXPCObject(), Value(Uuid{bytes}));
    EXPECT_THROW(XPCUUID::uuidWithXPCObject(Value("text")), std::bad_variant_access);
}

TEST(AnXPCUUID, IsEqualByItsText) {
    const auto one = XPCUUID::initWithUUIDRef(bytes);
    const auto same = XPCUUID::initWithUUIDRef(bytes);
    const auto other = XPCUUID::initWithUUIDRef({});
    EXPECT_TRUE(one.isEqual(same));
    EXPECT_EQ(one.hash(), same.hash());
    EXPECT_FALSE(one.isEqual(other));
    EXPECT_NE(one.hash(), other.hash());
}

TEST(AnXPCUUID, RepeatsNoPartOfItself) {
    std::vector<XPCUUID::Bytes> made(200);
    std::generate(made.begin(), made.end(), [] { return XPCUUID::uuid().uuidRef(); });
    for (std::size_t one = 0; one < bytes.size(); ++one) {
        for (std::size_t other = one + 1; other < bytes.size(); ++other) {
            // The lower four bits of every byte are random.
            const auto same = std::count_if(made.begin(), made.end(), [&](const XPCUUID::Bytes& value) {
                return ((value.at(one) ^ value.at(other)) & 0x0F) == 0;
            });
            EXPECT_LT(same, 100) << one << " and " << other;
        }
    }
}

TEST(AnXPCUUID, IsNewEachTimeAndOfTheRandomKind) {
    std::set<std::string> texts;
    for (int count = 0; count < 100; ++count) {
        const auto text = XPCUUID::uuid().string();
        EXPECT_EQ(text.size(), 36U);
        EXPECT_EQ(text[14], '4');
        EXPECT_NE(std::string("89AB").find(text[19]), std::string::npos);
        texts.insert(text);
    }
    EXPECT_EQ(texts.size(), 100U);
}

} // namespace
