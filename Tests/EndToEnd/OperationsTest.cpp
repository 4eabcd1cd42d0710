// The command-line tool, the client library and the development web service together: every operation gets a response,
// and what one of them gives, another one takes.

#include "EndToEnd/RealServiceFixture.h"

#include <boost/json.hpp>

#include <map>
#include <sstream>

namespace Quenmark {

using TestSupport::runCommand;

class TheOperations : public ::testing::Test {
protected:
    TheOperations() { home.setDeployment(R"({"serviceHost":")" + service.host() + "\"}"); }

    static TestSupport::CommandResult run(const std::vector<std::string>& arguments) {
        std::vector<std::string> command{QUENMARK_TOOL};
        command.insert(command.end(), arguments.begin(), arguments.end());
        return runCommand(command);
    }

    /// The record of an operation's response.
    static boost::json::object call(const std::string& operation, const std::vector<std::string>& arguments) {
        std::vector<std::string> words{"call", operation};
        words.insert(words.end(), arguments.begin(), arguments.end());
        const auto result = run(words);
        EXPECT_EQ(result.status, 0) << operation << ": " << result.errors;
        boost::json::error_code error;
        const auto record = boost::json::parse(result.output, error);
        EXPECT_TRUE(!error && record.is_object()) << operation << ": " << result.output;
        return record.is_object() ? record.get_object() : boost::json::object();
    }
    static std::string text(const boost::json::object& record, const char* property) {
        const auto* value = record.if_contains(property);
        return value != nullptr && value->is_string() ? std::string(value->get_string()) : "(none)";
    }

    Platform::RunLoop loop;
    TestSupport::TemporaryHome home;
    ServiceProcess service{home.path("data")};
};

TEST_F(TheOperations, AllGetAResponseFromTheDevelopmentWebService) {
    // Those whose response is a bare status cannot carry what the web service says against a request without keys; one
    // sends a file, which is not there; and the path of one cannot become an address.
    const std::map<std::string, int> others = {{"asyncUploadFileWithStream", 70},
                                               {"asyncupdateSendFileToTransfer", 70},
                                               {"asyncUpdateFileRequestWithStream", 66},
                                               {"asyncupdateBSDownloadStreamFailed", 74}};
    std::istringstream catalogue(run({"operations"}).output);
    int count = 0;
    for (std::string line; std::getline(catalogue, line);) {
        if (!line.starts_with("async"))
            continue;
        ++count;
        const auto result = run({"call", line});
        EXPECT_EQ(result.status, others.contains(line) ? others.at(line) : 0) << line << ": " << result.errors;
        EXPECT_EQ(result.output.find("UnknownOperation"), std::string::npos) << line;
        EXPECT_NE(result.output.empty(), !others.contains(line) && line != "asyncGetTopFileUploadWithStream") << line;
    }
    EXPECT_EQ(count, 39);
}

TEST_F(TheOperations, CarryAFileFromOneOfAUsersComputersToTheOther) {
    const auto user = call("UserRegistration", {"MailID=ann@example.org", "Password=secret", "FirstName=Ann"});
    EXPECT_EQ(text(user, "returnValue"), "Registered");
    const auto registerComputer = [&] {
        return text(call("RegisterComputer", {"UserID=" + text(user, "userId"), R"(QuenmarkPath=Users\ann)"}),
                    "computerId");
    };
    const std::string sender = registerComputer();
    const std::string receiver = registerComputer();
    EXPECT_NE(sender, receiver);

    const std::string path = R"(Users\ann\Quenmark\Grüße 100%25.txt)";
    EXPECT_EQ(text(call("OneTimeSyncFiles", {"ComputerID=" + sender, "AllFiles=" + path}), "returnStatus"), "0");
    const auto request = call("GetTopFileRequest", {"FromComputerID=" + sender});
    EXPECT_EQ(text(request, "filePath"), path);
    EXPECT_EQ(text(call("IsFileExistsInCloud", {"StrFullPath=" + path}), "isExists"), "False");
    const std::string content = "content\n" + std::string(300'000, 'x');
    EXPECT_EQ(text(call("UpdateFileRequestWithStream", {"FileRequestID=" + text(request, "fileRequestID"),
                                                        "TransitDownloadPath=" + text(request, "TransitDownloadPath"),
                                                        "--file", home.write("file", content)}),
                   "ReturnStatus"),
              "0");
    EXPECT_EQ(text(call("IsFileExistsInCloud", {"StrFullPath=" + path}), "isExists"), "True");
    EXPECT_EQ(text(call("GetTopFileRequest", {"FromComputerID=" + sender}), "returnStatus"), "1");

    const auto item = call("GetTopFileUpload", {"ToComputerID=" + receiver});
    EXPECT_EQ(text(item, "fileName"), R"(\Grüße 100%25.txt)");
    const auto streamed =
        run({"call", "GetTopFileUploadWithStream", "ToComputerID=" + receiver, "--output", home.path("received")});
    EXPECT_EQ(streamed.status, 0) << streamed.errors;
    EXPECT_TRUE(home.read("received") == content);
    EXPECT_EQ(
        text(call("UpdateFileUpload", {"FileUploadID=" + text(item, "fileUploadId"), "FileName=x"}), "returnStatus"),
        "0");
    EXPECT_EQ(text(call("GetTopFileUpload", {"ToComputerID=" + receiver}), "returnStatus"), "1");
}

} // namespace Quenmark
