// The help, and the errors of a malformed command line.

#include "Support/Pattern.h"
#include "ToolFixture.h"

#include <utility>

namespace ToolTest {

class TheHelp : public AQuenmarkTool {};

TEST_F(TheHelp, ShowsAnExampleForEveryVerb) {
    const std::vector<std::vector<std::string>> verbs{
        {"start"},          {"stop"},  {"status"},        {"setup"},        {"doctor"},
        {"bundle"},         {"prefs"}, {"prefs", "list"}, {"prefs", "get"}, {"prefs", "set"},
        {"prefs", "unset"}, {"watch"}, {"push"},          {"operations"},   {"call"}};
    for (auto verb : verbs) {
        std::string example = "  quenmark";
        for (const auto& word : verb)
            example += " " + word;
        verb.emplace_back("--help");
        const auto result = run(verb);
        EXPECT_EQ(result.status, 0) << example;
        EXPECT_EQ(result.errors, "") << example;
        EXPECT_NE(result.output.find("Example"), std::string::npos) << result.output;
        EXPECT_NE(result.output.find(example), std::string::npos) << result.output;
    }
}

TEST_F(TheHelp, ListsTheExitStatuses) {
    for (const auto& arguments : {std::vector<std::string>{"--help"}, {"call", "--help"}}) {
        const auto result = run(arguments);
        EXPECT_EQ(result.status, 0);
        EXPECT_NE(result.output.find(
                      "Exit status:\n"
                      "  0   success; for a call: status 0\n"
                      "  1   a check of the doctor is a failure\n"
                      "  64  wrong usage: an unknown verb, option, operation or key\n"
                      "  65  the input is not valid, or cannot be written as JSON (status 4)\n"
                      "  66  the file, folder or preference is not there\n"
                      "  69  no network (status 1), or the bus, service or server cannot be reached\n"
                      "  70  the response does not have the form of the operation's response\n"
                      "  73  a file or folder cannot be made\n"
                      "  74  the transfer failed (status 2), or reading or writing did\n"
                      "  75  no response in time; for status: an engine has a problem, or none was started\n"
                      "  76  the response is not JSON (status 5), or the server refused\n"
                      "  78  preferences or deployment settings are malformed, or one that is needed is not set\n"),
                  std::string::npos)
            << result.output;
    }
}

TEST_F(TheHelp, NamesTheArgumentsOfAVerb) {
    const std::vector<std::pair<std::vector<std::string>, std::vector<std::string>>> usages{
        {{"start"}, {"--another"}},
        {{"status"}, {"--json", "--follow"}},
        {{"setup"},
         {"--host HOST[:PORT]", "--mail ADDRESS", "--password-file FILE", "--path DIR", "--computer ID", "--user ID",
          "--no-enable"}},
        {{"doctor"}, {"--json"}},
        {{"bundle"}, {"FILE"}},
        {{"prefs", "get"}, {"KEY"}},
        {{"prefs", "set"}, {"KEY", "VALUE", "--force"}},
        {{"prefs", "unset"}, {"KEY"}},
        {{"watch"}, {"--json"}},
        {{"push"}, {"FILE", "--to COMPUTER", "--as NAME", "--server HOST[:PORT]"}},
        {{"call"},
         {"OPERATION", "PAIR Key=value", "--json FILE", "--file PATH", "--output FILE", "--timeout SECONDS", "--wire",
          "--headers", "--fail", "--verbose"}},
        {{"operations"}, {"--json"}}};
    for (const auto& [verb, arguments] : usages) {
        auto command = verb;
        command.emplace_back("--help");
        const auto result = run(command);
        for (const auto& argument : arguments)
            EXPECT_NE(result.output.find("\n  " + argument), std::string::npos) << argument << '\n' << result.output;
    }
}

TEST_F(TheHelp, NamesTheVersion) {
    const auto result = run({"--version"});
    EXPECT_EQ(result.status, 0);
    // The commit is known in a working tree and in an archive of one.
    const TestSupport::Pattern version("quenmark " QUENMARK_VERSION R"(( \([0-9a-f]{7,40}(-dirty)?\))?\n)");
    EXPECT_TRUE(version.matches(result.output)) << result.output;
}

TEST_F(TheHelp, IsPointedToAfterAWrongCommandLine) {
    const std::vector<std::vector<std::string>> wrong{{},
                                                      {"begin"},
                                                      {"start", "now"},
                                                      {"start", "--fast"},
                                                      {"stop", "now"},
                                                      {"status", "--xml"},
                                                      {"prefs"},
                                                      {"prefs", "get"},
                                                      {"prefs", "set", "a"},
                                                      {"prefs", "list", "a"},
                                                      {"push", "--to", "1"},
                                                      {"operations", "--xml"}};
    for (const auto& arguments : wrong) {
        const auto result = run(arguments);
        const std::string what = arguments.empty() ? "nothing" : arguments.back();
        EXPECT_EQ(result.status, 64) << what;
        EXPECT_EQ(result.output, "") << what;
        EXPECT_TRUE(result.errors.starts_with("quenmark: ")) << result.errors;
        EXPECT_TRUE(result.errors.ends_with(" (--help tells more)\n")) << result.errors;
    }
}

TEST_F(TheHelp, IsPointedToWithTheNearestWordAfterAnUnknownOne) {
    const std::vector<std::pair<std::vector<std::string>, std::string>> wrong{
        {{"stat"}, R"(verb "stat"; the nearest one is start)"},
        {{"statsu"}, R"(verb "statsu"; the nearest one is status)"},
        {{"WATHC"}, R"(verb "WATHC"; the nearest one is watch)"},
        {{"prefs", "gett", "a"}, R"(verb "gett"; the nearest one is get)"},
        {{"--verion"}, R"(option "--verion"; the nearest one is --version)"},
        {{"status", "--folow"}, R"(option "--folow"; the nearest one is --follow)"},
        {{"status", "--folow=1"}, R"(option "--folow"; the nearest one is --follow)"},
        {{"call", "--outptu", "x", "LogError"}, R"(option "--outptu"; the nearest one is --output)"},
        {{"push", "--to", "--weird", "--ass", "b", "c"}, R"(option "--ass"; the nearest one is --as)"},
        {{"push", "--to=7", "--servre", "b", "c"}, R"(option "--servre"; the nearest one is --server)"}};
    for (const auto& [arguments, what] : wrong) {
        const auto result = run(arguments);
        EXPECT_EQ(result.status, 64);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "quenmark: there is no " + what + " (--help tells more)\n");
    }
}

TEST_F(TheHelp, IsPointedToAfterAWrongUseOfWhatThereIs) {
    for (const auto& arguments : {std::vector<std::string>{"prefs", "set", "a", "b", "c"},
                                  {"prefs", "get", "--", "--folow", "x"},
                                  {"start", "-"},
                                  {"call", "--timeout", "--bar", "x"}}) {
        const auto result = run(arguments);
        EXPECT_EQ(result.status, 64);
        EXPECT_EQ(result.errors.find("there is no"), std::string::npos) << result.errors;
        EXPECT_TRUE(result.errors.ends_with(" (--help tells more)\n")) << result.errors;
    }
}

} // namespace ToolTest
