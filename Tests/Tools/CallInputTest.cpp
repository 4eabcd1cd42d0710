// quenmark call: operations, keys and bodies that it refuses, and its error messages.

#include "ToolFixture.h"
#include "Tools/CallArguments.h"

namespace ToolTest {

namespace {

class AWrongCall : public AQuenmarkTool {
protected:
    ~AWrongCall() override { EXPECT_EQ(server.requests().size(), 0U); }

    void expect(const std::vector<std::string>& arguments, int status, const std::string& errors) const {
        const auto result = run(arguments);
        EXPECT_EQ(result.status, status);
        EXPECT_EQ(result.errors, errors);
        EXPECT_EQ(result.output, "");
    }
    void expectForBody(const std::string& operation, const std::string& body, int status,
                       const std::string& errors) const {
        const auto result = runWithInput(body, {"call", operation, "--json", "-"});
        EXPECT_EQ(result.status, status);
        EXPECT_EQ(result.errors, errors);
        EXPECT_EQ(result.output, "");
    }
};

class ACallFromAFile : public AQuenmarkTool {};

} // namespace

TEST(ACallWithoutOptions, WaitsNinetySecondsAndSaysNothing) {
    const Tools::CallArguments arguments;
    EXPECT_EQ(arguments.timeout, std::chrono::seconds(90));
    EXPECT_FALSE(arguments.verbose);
}

TEST_F(AWrongCall, NamesTheOperationThatIsNearest) {
    expect({"call", "GetTopFileUplod"}, 64,
           "quenmark: there is no operation \"GetTopFileUplod\"; the nearest one is asyncGetTopFileUpload\n");
    expect({"call", "asyncLogErorr"}, 64,
           "quenmark: there is no operation \"asyncLogErorr\"; the nearest one is asyncLogError\n");
}

TEST_F(AWrongCall, NamesTheKeyThatIsNearest) {
    expect({"call", "GetTopFileUpload", "toComputerId=1"}, 64,
           "quenmark: asyncGetTopFileUpload has no key \"toComputerId\"; the nearest one is ToComputerID\n");
    expect({"call", "LogError", "ErrorMesage=1"}, 64,
           "quenmark: asyncLogError has no key \"ErrorMesage\"; the nearest one is ErrorMessage\n");
}

TEST_F(ACallFromAFile, LeavesOutAndNamesTheKeysThatTheRequestDoesNotHave) {
    server.enqueue(TestSupport::HttpReply::json(R"({"ReturnStatus":"0"})"));
    const auto body = folder.write("body", R"({"ReturnStatus":"0","UserID":"1"})");
    const auto result = run({"call", "LogError", "--json", body});
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.errors, "quenmark: ignored: asyncLogError has no key ReturnStatus\n");
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].body, "{\n  \"UserID\" : \"1\"\n}");
}

TEST_F(AWrongCall, IsNotMadeWithAnArgumentThatIsNoPair) {
    expect({"call", "GetTopFileUpload", "17"}, 64, "quenmark: \"17\" is not Key=value\n");
}

TEST_F(AWrongCall, IsNotMadeWithAKeyThatIsGivenTwice) {
    expect({"call", "GetTopFileUpload", "ToComputerID=1", "ToComputerID=2"}, 64,
           "quenmark: ToComputerID is given twice\n");
}

TEST_F(AWrongCall, IsNotMadeWithPairsAndABody) {
    const auto result = runWithInput("{}", {"call", "GetTopFileUpload", "ToComputerID=1", "--json", "-"});
    EXPECT_EQ(result.status, 64);
    EXPECT_EQ(result.output, "");
}

TEST_F(AWrongCall, IsNotMadeWithAFileThatItDoesNotSend) {
    expect({"call", "GetTopFileUpload", "--file", "/etc/hostname"}, 64,
           "quenmark: asyncGetTopFileUpload sends no file\n");
    expect({"call", "UpdateFileRequestWithStream", "FilePath=a", "--file", "/etc/hostname"}, 64,
           "quenmark: --file and FilePath exclude each other\n");
    expect({"call", "UpdateFileRequestWithStream", "--file", "/tmp/a\\b"}, 64,
           "quenmark: a path with a backslash in it cannot be sent\n");
}

TEST_F(AWrongCall, IsNotMadeWithATimeThatIsNone) {
    for (const char* seconds : {"0", "-1", "soon", ""})
        EXPECT_EQ(run({"call", "GetTopFileUpload", "--timeout", seconds}).status, 64) << seconds;
}

TEST_F(AWrongCall, IsNotMadeWithABodyThatIsNotJson) {
    const auto result = runWithInput("{", {"call", "GetTopFileUpload", "--json", "-"});
    EXPECT_EQ(result.status, 65);
    EXPECT_TRUE(result.errors.starts_with("quenmark: Not JSON: ")) << result.errors;
}

TEST_F(AWrongCall, IsNotMadeWithABodyOfTheWrongShape) {
    expectForBody("GetTopFileUpload", "[]", 65, "quenmark: the body must be a JSON object\n");
    expectForBody("SyncFilesInTableAndCloud", "{}", 65, "quenmark: the body must be a JSON array of objects\n");
    expectForBody("SyncFilesInTableAndCloud", "[1]", 65, "quenmark: the body must be a JSON object\n");
    expectForBody("GetTopFileUpload", R"({"ToComputerID":1.5})", 65,
                  "quenmark: the value of ToComputerID is not a text\n");
    expectForBody("GetTopFileUpload", R"({"ToComputerID":["1"]})", 65,
                  "quenmark: the value of ToComputerID is not a text\n");
}

TEST_F(AWrongCall, IsNotMadeWithABodyThatIsMissing) {
    expect({"call", "GetTopFileUpload", "--json", folder.path("none")}, 66,
           "quenmark: " + folder.path("none") + ": No such file or directory\n");
}

TEST_F(AWrongCall, IsNotMadeWithoutAnOperation) {
    const auto result = run({"call"});
    EXPECT_EQ(result.status, 64);
    EXPECT_EQ(result.output, "");
}

} // namespace ToolTest
