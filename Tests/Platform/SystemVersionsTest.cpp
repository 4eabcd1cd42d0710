#include "Platform/SystemVersions.h"

#include "Platform/Loop/RunLoop.h"
#include "Support/Command.h"

#include <curl/curlver.h>
#include <gtest/gtest.h>

namespace {

TEST(TheVersionsOfTheSystem, AreThoseOfItsParts) {
    Platform::RunLoop loop;
    const auto versions = Platform::systemVersions();
    ASSERT_EQ(versions.size(), 4U);
    EXPECT_EQ(versions[0].first, "libcurl");
    EXPECT_TRUE(versions[0].second.starts_with("libcurl/" LIBCURL_VERSION " ")) << versions[0].second;
    EXPECT_EQ(versions[1].first, "libsystemd");
    EXPECT_TRUE(versions[1].second.starts_with("libsystemd.so.0.")) << versions[1].second;
    EXPECT_EQ(versions[2].first, "kernel");
    EXPECT_EQ(versions[2].second + "\n", TestSupport::runCommand({"uname", "-srm"}).output);
    EXPECT_EQ(versions[3].first, "distribution");
    EXPECT_EQ(versions[3].second,
              TestSupport::runCommand({"sh", "-c", ". /etc/os-release; printf %s \"$PRETTY_NAME\""}).output);
}

} // namespace
