// The downloads that are being sent, as the console shows them.

#include "WebService/Console/Streams.h"

#include <gtest/gtest.h>

namespace webservice {

namespace {

using namespace std::chrono_literals;

/// A request that has sent some bytes.
class SentBytes : public RequestProgress {
public:
    std::uint64_t sent() const override { return bytes; }
    std::chrono::duration<double, std::milli> time() const override { return {}; }

    std::uint64_t bytes = 0;
};

class AStream : public ::testing::Test {
protected:
    AStream() {
        stream.item = 3;
        stream.computer = "7";
        stream.name = "\\a";
        stream.offset = 100;
        stream.length = 1'000'000'000;
        stream.progress = &progress;
        stream.sentBefore = 50;
    }

    /// The rate at a time after the beginning, once so many bytes of the file have been sent.
    std::int64_t rate(std::chrono::milliseconds time, std::uint64_t bytes) {
        progress.bytes = stream.sentBefore + bytes;
        return stream.bytesPerSecond(begin + time);
    }

    SentBytes progress;
    const Stream::Clock::time_point begin = Stream::Clock::now();
    Stream stream;
    Streams streams;
};

} // namespace

TEST_F(AStream, CountsTheBytesOfTheFile) {
    stream.length = 900;
    for (const auto& [sent, bytes] :
         {std::pair(0, 100), std::pair(50, 100), std::pair(51, 101), std::pair(949, 999), std::pair(951, 1000)}) {
        progress.bytes = static_cast<std::uint64_t>(sent);
        EXPECT_EQ(stream.bytes(), static_cast<std::uint64_t>(bytes)) << sent;
    }
}

TEST_F(AStream, HasTheRateOfTheLastOneToTwoSeconds) {
    EXPECT_EQ(rate(-1ms, 1000), 0);
    EXPECT_NEAR(static_cast<double>(rate(1'000'000ms, 1'000'000)), 1000, 1);
    EXPECT_NEAR(static_cast<double>(rate(1'000'999ms, 2'000'000)), 1999, 2) << "from the beginning";
    EXPECT_EQ(rate(1'001'000ms, 1'003'000), 3000);
    EXPECT_EQ(rate(1'001'500ms, 1'006'000), 4000);
    EXPECT_EQ(rate(1'001'999ms, 1'003'000), 1500) << "bytes of 1.999 s";
    EXPECT_EQ(rate(1'002'000ms, 1'007'000), 4000);
    EXPECT_EQ(rate(1'012'000ms, 1'007'000), 0);
    EXPECT_EQ(rate(1'012'500ms, 1'007'500), 47) << "since the last call but one";
}

TEST_F(AStream, IsFoundByItsItem) {
    EXPECT_EQ(streams.find(3), nullptr);
    stream.item = 2;
    streams.add(stream);
    EXPECT_EQ(streams.find(3), nullptr);
    stream.item = 3;
    const auto handle = streams.add(stream);
    EXPECT_EQ(streams.find(3), &*handle);
    streams.remove(handle);
    EXPECT_EQ(streams.find(3), nullptr);
    EXPECT_FALSE(streams.isEmpty());
}

TEST_F(AStream, CountsOnceForItsItem) {
    EXPECT_TRUE(streams.counts().empty());
    streams.add(stream);
    streams.add(stream);
    stream.item = 4;
    streams.add(stream);
    stream.computer = "8";
    streams.add(stream);
    EXPECT_EQ(streams.counts(), (std::map<std::string, std::int64_t, std::less<>>{{"7", 2}, {"8", 1}}));
}

TEST_F(AStream, IsShownWithItsNumbers) {
    progress.bytes = 250;
    streams.add(stream);
    EXPECT_EQ(boost::json::serialize(streams.json(begin - 1s)),
              R"({"streams":[{"item":3,"computer":"7","name":"\\a","bytes":300,"total":1000000100,)"
              R"("bytesPerSecond":0}]})");
}

TEST_F(AStream, IsShownAmongTheThousandOldest) {
    for (stream.item = 1; stream.item <= 1001; ++stream.item)
        streams.add(stream);
    const boost::json::value list = streams.json(begin).at("streams");
    ASSERT_EQ(list.as_array().size(), 1000U);
    EXPECT_EQ(list.at(0).at("item"), 1);
    EXPECT_EQ(list.at(999).at("item"), 1000);
}

TEST_F(AStream, IsShownAmongThoseWhoseNamesHave64KiBTogether) {
    stream.name.assign(32'768, 'x');
    streams.add(stream);
    streams.add(stream);
    EXPECT_EQ(streams.json(begin).at("streams").as_array().size(), 2U);
    stream.name = "";
    streams.add(stream);
    EXPECT_EQ(streams.json(begin).at("streams").as_array().size(), 3U);
    stream.name = "x";
    streams.add(stream);
    stream.name = "";
    streams.add(stream);
    EXPECT_EQ(streams.json(begin).at("streams").as_array().size(), 3U) << "none behind one that is left out";
}

} // namespace webservice
