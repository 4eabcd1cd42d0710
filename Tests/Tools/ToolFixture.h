#pragma once

#include "Platform/Loop/RunLoop.h"
#include "Support/Command.h"
#include "Support/HttpServer.h"
#include "Support/Releases.h"
#include "Support/ScopedEnvironment.h"
#include "Support/TemporaryHome.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace ToolTest {

/// The real program, in an environment of the test's own, with a scripted web service.
class AQuenmarkTool : public testing::Test {
protected:
    AQuenmarkTool();

    /// Runs the program to its end.
    TestSupport::CommandResult run(const std::vector<std::string>& arguments) const;
    /// As `run`, with `input` on standard input.
    TestSupport::CommandResult runWithInput(const std::string& input, const std::vector<std::string>& arguments) const;
    /// Names the web service and the release in the deployment settings.
    void deploy(const std::string& host, double release = TestSupport::release10_10) const;
    /// The file of the shared preferences domain.
    std::string preferencesFile() const { return home.preferencesFile(); }

    /// A folder that no setting names.
    TestSupport::TemporaryDirectory folder;
    TestSupport::TemporaryHome home;
    /// No bus, and name servers that are asked once, for one second each (resolv.conf(5)): some computers have only
    /// ones that never respond.
    TestSupport::ScopedEnvironment environment{{"DBUS_SESSION_BUS_ADDRESS", "unix:path=" + folder.path("no-bus")},
                                               {"RES_OPTIONS", "timeout:1 attempts:1"}};
    Platform::RunLoop loop;
    TestSupport::HttpServer server;
};

} // namespace ToolTest
