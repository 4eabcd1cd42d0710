// quenmark prefs: the shared preferences domain, read and changed from the shell.

#include "RunningTool.h"
#include "ToolFixture.h"

#include <boost/json/object.hpp>
#include <boost/json/parse.hpp>

#include <filesystem>
#include <memory>

namespace ToolTest {

class ThePreferences : public AQuenmarkTool {
protected:
    std::string file() const { return home.config().read("quenmark/Velkarin.Quenmark.json"); }
    void writeFile(const std::string& content) const { home.setPreferences(content); }
};

TEST_F(ThePreferences, KeepWhatIsSetAsStrings) {
    const auto result = run({"prefs", "set", "computerIdKey", "17"});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(run({"prefs", "set", "userIdKey", "J\xC3\xBCrgen \"x\""}).status, 0);
    EXPECT_EQ(file(), "{\n  \"computerIdKey\" : \"17\",\n  \"userIdKey\" : \"J\xC3\xBCrgen \\\"x\\\"\"\n}\n");
}

TEST_F(ThePreferences, GiveOneValue) {
    writeFile(R"({"a":"x y","b":12,"c":["1",null]})");
    EXPECT_EQ(run({"prefs", "get", "a"}).output, "x y\n");
    EXPECT_EQ(run({"prefs", "get", "b"}).output, "12\n");
    EXPECT_EQ(run({"prefs", "get", "c"}).output, "[\"1\",null]\n");
}

TEST_F(ThePreferences, SayWhichValueIsNotSet) {
    const auto result = run({"prefs", "get", "computerIdKey"});
    EXPECT_EQ(result.status, 66);
    EXPECT_EQ(result.output, "");
    EXPECT_EQ(result.errors, "quenmark: computerIdKey is not set\n");
}

TEST_F(ThePreferences, AreListedInTheirOrder) {
    EXPECT_EQ(run({"prefs", "list"}).output, "");
    EXPECT_EQ(run({"prefs", "list", "--json"}).output, "{}\n");
    writeFile(R"({"z":"1","a":"b=c","n":true})");
    EXPECT_EQ(run({"prefs", "list"}).output, "z=1\na=b=c\nn=true\n");
    EXPECT_EQ(run({"prefs", "list", "--json"}).output, "{\n  \"z\" : \"1\",\n  \"a\" : \"b=c\",\n  \"n\" : true\n}\n");
}

TEST_F(ThePreferences, ForgetWhatIsUnset) {
    writeFile(R"({"a":"1","b":"2"})");
    EXPECT_EQ(run({"prefs", "unset", "a"}).status, 0);
    EXPECT_EQ(file(), "{\n  \"b\" : \"2\"\n}\n");
    EXPECT_EQ(run({"prefs", "unset", "a"}).status, 0);
    EXPECT_EQ(run({"prefs", "get", "a"}).status, 66);
}

TEST_F(ThePreferences, MakeTheQuenmarkFolder) {
    const std::string path = home.path("some where/deep");
    EXPECT_EQ(run({"prefs", "set", "quenmarkPathKey", path}).status, 0);
    EXPECT_TRUE(std::filesystem::is_directory(path + "/Quenmark"));
    EXPECT_EQ(run({"prefs", "get", "quenmarkPathKey"}).output, path + "\n");
    EXPECT_EQ(run({"prefs", "set", "quenmarkPathKey", path}).status, 0) << "a second time";
}

TEST_F(ThePreferences, StayAsTheyAreWhereTheQuenmarkFolderCannotBeMade) {
    const std::string path = home.write("file", "");
    const auto result = run({"prefs", "set", "quenmarkPathKey", path});
    EXPECT_EQ(result.status, 73);
    EXPECT_TRUE(result.errors.starts_with("quenmark: " + path)) << result.errors;
    EXPECT_EQ(run({"prefs", "get", "quenmarkPathKey"}).status, 66);
}

TEST_F(ThePreferences, TakeNoRelativeQuenmarkPath) {
    for (const char* path : {"", "here", "./here", "~"}) {
        const auto result = run({"prefs", "set", "quenmarkPathKey", path});
        EXPECT_EQ(result.status, 64) << path;
        EXPECT_EQ(result.errors, "quenmark: quenmarkPathKey must be an absolute path\n");
    }
    EXPECT_FALSE(std::filesystem::exists(preferencesFile()));
}

TEST_F(ThePreferences, TakeValuesThatLookLikeOptionsAndVerbs) {
    EXPECT_EQ(run({"prefs", "set", "--force", "--", "a", "-5"}).status, 0);
    EXPECT_EQ(run({"prefs", "get", "a"}).output, "-5\n");
    EXPECT_EQ(run({"prefs", "set", "--force", "list", "watch"}).status, 0);
    EXPECT_EQ(run({"prefs", "get", "list"}).output, "watch\n");
    EXPECT_EQ(run({"prefs", "set", "--force", "a", ""}).status, 0);
    EXPECT_EQ(run({"prefs", "get", "a"}).output, "\n");
    EXPECT_EQ(run({"prefs", "set", "--force", "a", "[x,y]"}).status, 0);
    EXPECT_EQ(run({"prefs", "get", "a"}).output, "[x,y]\n");
}

TEST_F(ThePreferences, TakeNoKeyThatNothingReadsUnlessForced) {
    const std::vector<std::pair<std::string, std::string>> mistyped{
        {"computerId", "computerIdKey"}, {"USERIDKEY", "userIdKey"}, {"quenmarkPath", "quenmarkPathKey"}};
    for (const auto& [key, nearest] : mistyped) {
        const auto result = run({"prefs", "set", key, "1"});
        EXPECT_EQ(result.status, 64);
        EXPECT_EQ(result.output, "");
        EXPECT_EQ(result.errors, "quenmark: nothing reads \"" + key + "\"; the nearest key is " + nearest +
                                     " (--force sets it all the same)\n");
    }
    EXPECT_FALSE(std::filesystem::exists(preferencesFile()));
    EXPECT_EQ(run({"prefs", "set", "computerId", "1", "--force"}).status, 0);
    EXPECT_EQ(file(), "{\n  \"computerId\" : \"1\"\n}\n");
}

TEST_F(ThePreferences, TakeNoEmptyComputer) {
    for (const auto& command : {std::vector<std::string>{"prefs", "set", "computerIdKey", ""},
                                {"prefs", "set", "--force", "computerIdKey", ""}}) {
        const auto result = run(command);
        EXPECT_EQ(result.status, 64);
        EXPECT_EQ(result.errors, "quenmark: computerIdKey must not be empty\n");
    }
    EXPECT_FALSE(std::filesystem::exists(preferencesFile()));
    EXPECT_EQ(run({"prefs", "set", "userIdKey", ""}).status, 0);
}

TEST_F(ThePreferences, TakeNothingThatIsNotUtf8) {
    const auto result = run({"prefs", "set", "--force", "a", "b\xC3("});
    EXPECT_EQ(result.status, 65);
    EXPECT_EQ(result.errors, "quenmark: the value is not UTF-8 at byte 1\n");
    EXPECT_FALSE(std::filesystem::exists(preferencesFile()));
}

TEST_F(ThePreferences, AreLeftAloneWhereTheirFileIsMalformed) {
    writeFile("{\"a\":");
    for (const auto& command : {std::vector<std::string>{"prefs", "list"},
                                {"prefs", "get", "a"},
                                {"prefs", "set", "--force", "a", "b"},
                                {"prefs", "unset", "a"}}) {
        const auto result = run(command);
        EXPECT_EQ(result.status, 78) << command[1];
        EXPECT_NE(result.errors.find(preferencesFile()), std::string::npos) << result.errors;
        EXPECT_EQ(result.output, "");
    }
    EXPECT_EQ(file(), "{\"a\":");
}

TEST_F(ThePreferences, AreNoMatterOfConfigurationWhereTheirFileCannotBeRead) {
    std::filesystem::create_directories(preferencesFile());
    for (const auto& command :
         {std::vector<std::string>{"prefs", "list"}, {"prefs", "get", "a"}, {"prefs", "set", "--force", "a", "b"}}) {
        const auto result = run(command);
        EXPECT_EQ(result.status, 74) << command[1];
        EXPECT_EQ(result.errors, "quenmark: " + preferencesFile() + ": Is a directory\n");
    }
}

TEST_F(ThePreferences, LoseNothingWhenManyAreSetAtOnce) {
    std::vector<std::unique_ptr<RunningTool>> writers;
    for (int number = 0; number < 12; ++number)
        writers.push_back(std::make_unique<RunningTool>(std::vector<std::string>{
            "prefs", "set", "--force", "key" + std::to_string(number), std::to_string(number)}));
    for (const auto& writer : writers)
        EXPECT_EQ(writer->wait(), 0) << writer->errors();
    const auto preferences = boost::json::parse(file()).as_object();
    EXPECT_EQ(preferences.size(), 12U);
    for (int number = 0; number < 12; ++number)
        EXPECT_EQ(preferences.at("key" + std::to_string(number)), std::to_string(number).c_str());
}

} // namespace ToolTest
