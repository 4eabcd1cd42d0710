#include "Platform/Network/Netlink.h"

#include <climits>
#include <gtest/gtest.h>

#include <linux/rtnetlink.h>
#include <sys/socket.h>

#include <cerrno>
#include <random>
#include <string>

namespace {

namespace Netlink = Platform::Netlink;
using Netlink::Bytes;
using Netlink::ReplyReader;
using Buffer = std::vector<std::byte>;

constexpr std::uint32_t sequence = 7;

template <class Value>
void append(Buffer& buffer, const Value& value) {
    const auto bytes = std::as_bytes(std::span(&value, 1));
    buffer.insert(buffer.end(), bytes.begin(), bytes.end());
}

/// A message whose header states `length`, or the true one.
Buffer message(std::uint16_t type, const Buffer& payload, std::optional<std::uint32_t> length = {},
               std::uint16_t flags = 0, std::uint32_t number = sequence) {
    nlmsghdr header{};
    header.nlmsg_len = length.value_or(static_cast<std::uint32_t>(sizeof header + payload.size()));
    header.nlmsg_type = type;
    header.nlmsg_flags = flags;
    header.nlmsg_seq = number;
    Buffer result;
    append(result, header);
    result.insert(result.end(), payload.begin(), payload.end());
    result.resize(NLMSG_ALIGN(result.size()));
    return result;
}

Buffer joined(std::initializer_list<Buffer> parts) {
    Buffer all;
    for (const auto& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

Buffer number(int value) {
    Buffer payload;
    append(payload, value);
    return payload;
}

class AReply : public testing::Test {
protected:
    std::vector<std::uint16_t> types;
    std::vector<std::size_t> sizes;
    Netlink::Visitor visit = [this](std::uint16_t type, Bytes payload) {
        types.push_back(type);
        sizes.push_back(payload.size());
    };
    ReplyReader dump{sequence, true, visit};
    ReplyReader single{sequence, false, visit};
};

TEST_F(AReply, OfADumpEndsWithItsOwnMessage) {
    dump.read(joined({message(RTM_NEWROUTE, Buffer(12)), message(RTM_NEWLINK, Buffer(5))}));
    EXPECT_FALSE(dump.ended());
    dump.read(joined({message(NLMSG_DONE, number(0)), message(RTM_NEWROUTE, {})}));
    EXPECT_TRUE(dump.ended());
    EXPECT_EQ(dump.error(), 0);
    EXPECT_FALSE(dump.interrupted());
    EXPECT_EQ(types, (std::vector<std::uint16_t>{RTM_NEWROUTE, RTM_NEWLINK}));
    EXPECT_EQ(sizes, (std::vector<std::size_t>{12, 5}));
}

TEST_F(AReply, ToASingleRequestIsOneMessage) {
    single.read(joined({message(NLMSG_NOOP, {}), message(RTM_NEWROUTE, Buffer(12)), message(RTM_NEWLINK, {})}));
    EXPECT_TRUE(single.ended());
    EXPECT_EQ(types, std::vector<std::uint16_t>{RTM_NEWROUTE});
}

TEST_F(AReply, CarriesTheKernelsError) {
    single.read(message(NLMSG_ERROR, number(-ENETUNREACH)));
    EXPECT_TRUE(single.ended());
    EXPECT_EQ(single.error(), ENETUNREACH);
    dump.read(message(NLMSG_DONE, number(-EOPNOTSUPP)));
    EXPECT_TRUE(dump.ended());
    EXPECT_EQ(dump.error(), EOPNOTSUPP);
}

TEST_F(AReply, IsABadMessageWhereItsErrorIsNone) {
    single.read(message(NLMSG_ERROR, Buffer(3)));
    EXPECT_EQ(single.error(), EBADMSG);
    ReplyReader positive(sequence, false, visit);
    positive.read(message(NLMSG_ERROR, number(5)));
    EXPECT_EQ(positive.error(), EBADMSG);
    ReplyReader least(sequence, false, visit);
    least.read(message(NLMSG_ERROR, number(INT_MIN)));
    EXPECT_EQ(least.error(), EBADMSG);
    dump.read(message(NLMSG_DONE, {}));
    EXPECT_TRUE(dump.ended());
    EXPECT_EQ(dump.error(), 0);
}

TEST_F(AReply, SaysThatADumpWasInterrupted) {
    dump.read(joined({message(RTM_NEWROUTE, {}, {}, NLM_F_MULTI | NLM_F_DUMP_INTR), message(NLMSG_DONE, number(0))}));
    EXPECT_TRUE(dump.ended());
    EXPECT_TRUE(dump.interrupted());
}

TEST_F(AReply, SkipsMessagesOfOtherRequests) {
    single.read(joined({message(RTM_NEWLINK, {}, {}, 0, sequence - 1), message(NLMSG_ERROR, number(-EPERM), {}, 0, 0),
                        message(RTM_NEWROUTE, {})}));
    EXPECT_TRUE(single.ended());
    EXPECT_EQ(single.error(), 0);
    EXPECT_EQ(types, std::vector<std::uint16_t>{RTM_NEWROUTE});
}

TEST_F(AReply, IsReadUpToAWrongLength) {
    for (const std::uint32_t length : {0U, 1U, 15U, 29U, 4096U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
        ReplyReader reader(sequence, true, visit);
        types.clear();
        reader.read(joined({message(RTM_NEWROUTE, Buffer(12)), message(RTM_NEWLINK, Buffer(12), length)}));
        EXPECT_FALSE(reader.ended());
        EXPECT_EQ(types, std::vector<std::uint16_t>{RTM_NEWROUTE}) << length;
    }
}

TEST_F(AReply, IsReadUpToAHeaderThatIsCut) {
    Buffer bytes = message(RTM_NEWROUTE, Buffer(12));
    bytes.resize(bytes.size() + 9);
    dump.read(bytes);
    dump.read({});
    EXPECT_FALSE(dump.ended());
    EXPECT_EQ(types, std::vector<std::uint16_t>{RTM_NEWROUTE});
}

TEST_F(AReply, SurvivesRandomBytes) {
    std::mt19937 random(1);
    for (int round = 0; round < 20'000; ++round) {
        Buffer bytes = joined(
            {message(RTM_NEWROUTE, Buffer(28)), message(RTM_NEWLINK, Buffer(40)), message(NLMSG_DONE, number(0))});
        for (int change = 0; change < 4; ++change)
            bytes[random() % bytes.size()] = static_cast<std::byte>(random());
        bytes.resize(random() % (bytes.size() + 1));
        // The exact size lets AddressSanitizer see every byte that is read beyond the end.
        const Buffer exact(bytes.begin(), bytes.end());
        ReplyReader reader(sequence, true, [](std::uint16_t, Bytes payload) {
            Netlink::forEachAttribute(Netlink::after(payload, sizeof(rtmsg)), [](std::uint16_t, Bytes value) {
                if (!value.empty()) {
                    EXPECT_GE(std::to_integer<int>(value.front()) + std::to_integer<int>(value.back()), 0);
                }
            });
        });
        reader.read(exact);
        EXPECT_GE(reader.error(), 0);
    }
}

std::vector<std::pair<int, std::string>> attributesOf(Bytes bytes) {
    std::vector<std::pair<int, std::string>> found;
    Netlink::forEachAttribute(bytes, [&](std::uint16_t type, Bytes value) {
        found.emplace_back(type, std::string(reinterpret_cast<const char*>(value.data()), value.size()));
    });
    return found;
}

Buffer attribute(std::uint16_t length, std::uint16_t type, std::string_view value) {
    Buffer bytes;
    append(bytes, nlattr{length, type});
    for (const char character : value)
        bytes.push_back(static_cast<std::byte>(character));
    bytes.resize(NLA_ALIGN(bytes.size()));
    return bytes;
}

TEST(TheAttributesOfAMessage, AreReadInOrderWithoutTheirPadding) {
    const auto bytes = joined({attribute(9, 1, "hello"), attribute(4, 2, ""), attribute(6, 3 | NLA_F_NESTED, "ab")});
    EXPECT_EQ(attributesOf(bytes), (std::vector<std::pair<int, std::string>>{{1, "hello"}, {2, ""}, {3, "ab"}}));
}

TEST(TheAttributesOfAMessage, NeedNoPaddingAtTheEnd) {
    Buffer bytes = attribute(6, 3, "ab");
    bytes.resize(6);
    EXPECT_EQ(attributesOf(bytes), (std::vector<std::pair<int, std::string>>{{3, "ab"}}));
}

TEST(TheAttributesOfAMessage, AreReadUpToAWrongLength) {
    for (const std::uint16_t length : {std::uint16_t{0}, std::uint16_t{3}, std::uint16_t{9}, std::uint16_t{0xFFFF}}) {
        const auto bytes = joined({attribute(6, 1, "ab"), attribute(length, 2, "cd")});
        EXPECT_EQ(attributesOf(bytes), (std::vector<std::pair<int, std::string>>{{1, "ab"}})) << length;
    }
}

TEST(AQuestion, IsAHeaderItsFixedPartAndItsAttributes) {
    rtmsg fixed{};
    fixed.rtm_family = AF_INET;
    Netlink::Request request(RTM_GETROUTE, NLM_F_DUMP, fixed);
    EXPECT_TRUE(request.isDump());
    request.addAttribute(RTA_DST, std::as_bytes(std::span("abc", 3)));
    const Bytes bytes = request.bytes(99);
    ASSERT_EQ(bytes.size(), 16U + 12 + 4 + 4);
    const auto header = Netlink::leading<nlmsghdr>(bytes);
    ASSERT_TRUE(header);
    EXPECT_EQ(header->nlmsg_len, bytes.size());
    EXPECT_EQ(header->nlmsg_type, RTM_GETROUTE);
    EXPECT_EQ(header->nlmsg_flags, NLM_F_REQUEST | NLM_F_DUMP);
    EXPECT_EQ(header->nlmsg_seq, 99U);
    EXPECT_EQ(attributesOf(bytes.subspan(28)), (std::vector<std::pair<int, std::string>>{{RTA_DST, "abc"}}));
}

TEST(AQuestion, IsRefusedByTheKernelWhereItIsMalformed) {
    const std::uint8_t tooShort = AF_INET;
    Netlink::Request request(RTM_GETROUTE, 0, tooShort);
    Netlink::Socket socket;
    bool interrupted = false;
    EXPECT_EQ(socket.exchange(
                  request, [](std::uint16_t, Bytes) {}, interrupted),
              EINVAL);
}

} // namespace
