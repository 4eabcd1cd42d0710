// How fast a download is, by what was read of it.

#include "Tools/Status/TransferRates.h"

#include <gtest/gtest.h>

namespace Tools {

namespace {

using std::chrono::milliseconds;

EngineStatus download(std::uint64_t bytes, const std::string& item = "\\a", const std::string& state = "downloading") {
    EngineStatus engine;
    engine.id = 1;
    engine.state = state;
    engine.item = item;
    engine.bytes = bytes;
    return engine;
}

class ARate : public testing::Test {
protected:
    void add(std::int64_t time, const EngineStatus& engine) {
        ServiceStatus status;
        status.engines = {engine};
        rates.add(status, milliseconds(time));
    }
    std::optional<std::uint64_t> rate() const { return rates.bytesPerSecond(download(0)); }

    TransferRates rates;
};

} // namespace

TEST_F(ARate, IsKnownAfterHalfASecond) {
    EXPECT_EQ(rate(), std::nullopt);
    add(1000, download(100));
    EXPECT_EQ(rate(), std::nullopt);
    add(1499, download(200));
    EXPECT_EQ(rate(), std::nullopt);
    add(1500, download(300));
    EXPECT_EQ(rate(), 400U);
}

TEST_F(ARate, IsThatOfTheLastFiveSeconds) {
    add(0, download(0));
    add(1000, download(1000));
    add(5000, download(1800));
    EXPECT_EQ(rate(), 360U);
    add(5001, download(1800));
    EXPECT_EQ(rate(), 199U) << "800 bytes in 4.001 seconds";
    add(60'000, download(5000));
    EXPECT_EQ(rate(), std::nullopt);
}

TEST_F(ARate, BeginsAnewWithAnotherItemAndWithFewerBytes) {
    add(0, download(100));
    add(1000, download(200, "\\b"));
    EXPECT_EQ(rate(), std::nullopt);
    add(2000, download(300, "\\b"));
    EXPECT_EQ(rate(), 100U);
    add(3000, download(50, "\\b"));
    EXPECT_EQ(rate(), std::nullopt);
    add(4000, download(50, "\\b"));
    EXPECT_EQ(rate(), 0U);
}

TEST_F(ARate, EndsWithTheDownload) {
    add(0, download(100));
    add(1000, download(200));
    add(1500, download(200, "\\a", "flushing"));
    EXPECT_EQ(rate(), std::nullopt);
    add(2000, download(200));
    EXPECT_EQ(rate(), std::nullopt);
}

TEST_F(ARate, IsThatOfItsEngine) {
    ServiceStatus status;
    status.engines = {download(0), download(0)};
    status.engines[1].id = 2;
    rates.add(status, milliseconds(0));
    status.engines[0].bytes = 100;
    status.engines[1].bytes = 300;
    rates.add(status, milliseconds(1000));
    EXPECT_EQ(rates.bytesPerSecond(status.engines[0]), 100U);
    EXPECT_EQ(rates.bytesPerSecond(status.engines[1]), 300U);
    status.engines[0].id = 3;
    EXPECT_EQ(rates.bytesPerSecond(status.engines[0]), std::nullopt);
}

TEST_F(ARate, HasALimit) {
    add(0, download(0));
    add(500, download(UINT64_MAX));
    EXPECT_EQ(rate(), 1'000'000'000'000'000'000U);
}

} // namespace Tools
