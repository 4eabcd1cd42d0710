// Framing of request bodies.

#include "WebService/Http/BodyDecoder.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace webservice {

namespace {

struct Decoded {
    std::string body;
    std::string rest;
    bool done;
};

// Feeds the wire bytes in pieces of the given size.
Decoded decode(const RequestHead& head, std::string_view wire, std::size_t pieceSize) {
    BodyDecoder decoder(head);
    Decoded decoded{};
    while (!wire.empty() && !decoder.done()) {
        std::string_view piece = wire.substr(0, pieceSize);
        const std::size_t before = piece.size();
        decoded.body += decoder.take(piece);
        wire.remove_prefix(before - piece.size());
    }
    decoded.done = decoder.done();
    decoded.rest = wire;
    return decoded;
}

RequestHead withLength(std::uint64_t length) {
    RequestHead head;
    head.length = length;
    return head;
}

RequestHead chunked() {
    RequestHead head;
    head.chunked = true;
    return head;
}

} // namespace

TEST(ABody, EndsAfterItsAnnouncedLength) {
    for (const std::size_t size : {1U, 2U, 100U}) {
        const Decoded decoded = decode(withLength(5), "hellonext", size);
        EXPECT_EQ(decoded.body, "hello");
        EXPECT_EQ(decoded.rest, "next");
        EXPECT_TRUE(decoded.done);
    }
    EXPECT_TRUE(BodyDecoder(withLength(0)).done());
}

TEST(ABody, ComesInChunksOfAnySizeCutAnywhere) {
    const std::string wire = "5;ext=1\r\nhello\r\nA\r\n, world 10\r\n0\r\nTrailer: x\r\n\r\nnext";
    for (std::size_t size = 1; size <= wire.size(); ++size) {
        const Decoded decoded = decode(chunked(), wire, size);
        EXPECT_EQ(decoded.body, "hello, world 10") << size;
        EXPECT_EQ(decoded.rest, "next") << size;
        EXPECT_TRUE(decoded.done) << size;
    }
}

TEST(ABody, IsNotDoneBeforeItsLastChunk) {
    EXPECT_FALSE(decode(chunked(), "5\r\nhello\r\n", 100).done);
    EXPECT_FALSE(decode(chunked(), "0\r\n", 100).done);
    EXPECT_FALSE(decode(withLength(6), "hello", 100).done);
}

TEST(ABody, WithBrokenChunksIsRefused) {
    for (const std::string& wire :
         {std::string("x\r\n"), std::string("\r\n"), std::string("5\r\nhello6\r\n"), std::string("-1\r\n"),
          std::string("11111111111111111\r\n"), std::string("5x\r\n"), std::string(10000, 'a')}) {
        EXPECT_THROW(decode(chunked(), wire, 100), BadRequest) << wire.substr(0, 40);
    }
}

} // namespace webservice
