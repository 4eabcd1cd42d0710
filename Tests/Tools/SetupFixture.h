#pragma once

#include "ToolFixture.h"

#include <filesystem>
#include <string>
#include <vector>

namespace ToolTest {

/// The real program setting up an account's computer, whose settings nobody has written yet.
class ASetup : public AQuenmarkTool {
protected:
    ASetup() { std::filesystem::remove(deploymentFile()); }

    std::string deploymentFile() const { return home.config().path("quenmark/deployment.json"); }
    /// The whole files.
    std::string deployment() const { return home.config().read("quenmark/deployment.json"); }
    std::string preferences() const { return home.config().read("quenmark/Velkarin.Quenmark.json"); }
    bool hasSettings() const {
        return std::filesystem::exists(deploymentFile()) || std::filesystem::exists(preferencesFile());
    }
    /// The files that a set-up writes.
    static std::string preferencesText(const std::string& computer, const std::string& user, const std::string& path) {
        return "{\n  \"computerIdKey\" : \"" + computer + "\",\n  \"userIdKey\" : \"" + user +
               "\",\n  \"quenmarkPathKey\" : \"" + path + "\"\n}\n";
    }
    static std::string deploymentText(const std::string& host) {
        return "{\n  \"serviceHost\" : \"" + host + "\",\n  \"mode\" : \"managed\"\n}\n";
    }

    /// Sets up without the service's unit.
    TestSupport::CommandResult setUp(std::vector<std::string> arguments) const {
        arguments.insert(arguments.begin(), {"setup", "--no-enable"});
        return run(arguments);
    }
    /// The options for an account, whose password is "s3cr3t".
    std::vector<std::string> account(const std::string& mail = "ann@example.org") const {
        return {"--mail", mail, "--password-file", password};
    }
    /// The options for a first set-up at a host.
    std::vector<std::string> all(const std::string& host) const {
        auto options = account();
        options.insert(options.end(), {"--host", host, "--path", home.path("items")});
        return options;
    }

    std::string password = folder.write("password", "s3cr3t\n");
};

} // namespace ToolTest
