// What the program says of itself, and of a command line that it does not understand.

#include "ToolFixture.h"

namespace ToolTest {

class TheHelp : public AQuenmarkTool {};

TEST_F(TheHelp, ShowsAnExampleForEveryVerb) {
    const std::vector<std::vector<std::string>> verbs{
        {"start"},          {"prefs"}, {"prefs", "list"}, {"prefs", "get"}, {"prefs", "set"},
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
        for (const char* line : {"\n  0   ", "\n  64  ", "\n  65  ", "\n  66  ", "\n  69  ", "\n  70  ", "\n  73  ",
                                 "\n  74  ", "\n  75  ", "\n  76  ", "\n  78  "})
            EXPECT_NE(result.output.find(line), std::string::npos) << line << result.output;
    }
}

TEST_F(TheHelp, NamesTheVersion) {
    const auto result = run({"--version"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, "quenmark " QUENMARK_VERSION "\n");
}

TEST_F(TheHelp, IsPointedToAfterAWrongCommandLine) {
    const std::vector<std::vector<std::string>> wrong{{},
                                                      {"stop"},
                                                      {"start", "now"},
                                                      {"start", "--fast"},
                                                      {"prefs"},
                                                      {"prefs", "get"},
                                                      {"prefs", "set", "a"},
                                                      {"prefs", "list", "a"},
                                                      {"push", "/etc/hostname"},
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

} // namespace ToolTest
