// The files of the console's page, on the wire.

#include "Support/HttpClient.h"
#include "Support/ServedState.h"
#include "WebService/Console/ConsoleFiles.h"

#include <gtest/gtest.h>

#include <regex>
#include <set>
#include <string>
#include <string_view>

namespace webservice::test {

namespace {

class ThePageOfTheConsole : public ::testing::Test {
protected:
    /// A file of the page, which has the header fields of one.
    std::string file(const std::string& path, std::string_view type, std::string_view caching) {
        const HttpResponse response = client.exchange("GET", path, "");
        EXPECT_EQ(response.status, 200) << path;
        EXPECT_EQ(response.headers.at("Content-Type"), type);
        EXPECT_EQ(response.headers.at("Cache-Control"), caching);
        EXPECT_EQ(response.headers.at("Content-Security-Policy"),
                  "default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; connect-src 'self'; "
                  "base-uri 'none'; form-action 'none'; frame-ancestors 'none'");
        EXPECT_EQ(response.headers.at("X-Content-Type-Options"), "nosniff");
        EXPECT_EQ(response.headers.at("Referrer-Policy"), "no-referrer");
        EXPECT_EQ(response.body.find("https://"), std::string::npos) << path;
        EXPECT_EQ(client.exchange("POST", path, "").status, 405) << path;
        return response.body;
    }

    std::string page() { return file("/", "text/html; charset=utf-8", "no-cache"); }

    /// Follows a script's imports.
    void follow(const std::string& name) {
        if (!reached.insert(name).second)
            return;
        const std::string script = file(root + name, "text/javascript; charset=utf-8", lasting);
        for (const std::string& imported : found(script, R"re(from "\./([^"]+)")re"))
            follow(imported);
    }

    static std::set<std::string> found(const std::string& text, const char* pattern) {
        const std::regex expression(pattern);
        std::set<std::string> all;
        for (std::sregex_iterator match(text.begin(), text.end(), expression), end; match != end; ++match)
            all.insert((*match)[1]);
        return all;
    }

    static constexpr const char* lasting = "public, max-age=31536000, immutable";
    const std::string root = "/console/" + std::string(consoleVersion()) + '/';
    std::set<std::string> reached;
    ServedState served;
    HttpClient client{served.port()};
};

} // namespace

TEST_F(ThePageOfTheConsole, IsMadeOfFilesOfItsVersionAndOfNothingElse) {
    EXPECT_TRUE(std::regex_match(std::string(consoleVersion()), std::regex("[0-9a-f]{16}"))) << consoleVersion();
    for (const std::string& path : found(page(), R"re((?:href|src)="(/[^"]*)")re")) {
        ASSERT_TRUE(path.starts_with(root)) << path;
        const std::string name = path.substr(root.size());
        if (name.ends_with(".css")) {
            reached.insert(name);
            EXPECT_EQ(file(path, "text/css; charset=utf-8", lasting).find("url("), std::string::npos) << path;
        } else {
            follow(name);
        }
    }
    std::set<std::string> all;
    for (const ConsoleFile& each : consoleFiles())
        all.emplace(each.name);
    EXPECT_EQ(reached, all);
    EXPECT_TRUE(reached.contains("main.js") && reached.contains("base.css"));
}

TEST_F(ThePageOfTheConsole, MeetsNoFileOfAnotherVersion) {
    for (const std::string& path :
         {std::string("/console/0123456789abcdef/main.js"), "/console/" + std::string(consoleVersion()) + "main.js",
          root + "nothing.js", root, root + "../main.js", std::string("/console/"), std::string("/console/main.js")})
        EXPECT_EQ(client.exchange("GET", path, "").status, 404) << path;
}

} // namespace webservice::test
