// What the program offers to the shells' completions.

#include "RunningTool.h"
#include "Support/Polling.h"
#include "ToolFixture.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>

namespace ToolTest {

using TestSupport::HttpReply;

class ACompletion : public AQuenmarkTool {
protected:
    /// What is offered in the place of the last word.
    std::string offered(std::vector<std::string> words) const {
        words.insert(words.begin(), "complete");
        const auto result = run(words);
        EXPECT_EQ(result.status, 0);
        return result.output;
    }
    void listComputers(const std::string& response) {
        server.enqueue("/api/computers?limit=1000", HttpReply::json(response));
    }
};

TEST_F(ACompletion, OffersVerbsWithTheirDescriptions) {
    EXPECT_TRUE(offered({""}).starts_with("words\n"
                                          "start\tLaunch the service and start its engine\n"
                                          "stop\tEnd the service\n"));
    EXPECT_EQ(offered({"prefs", ""}), "words\n"
                                      "list\tPrint every preference, one KEY=VALUE a line\n"
                                      "get\tPrint the value of one preference\n"
                                      "set\tSet one preference\n"
                                      "unset\tRemove one preference\n");
}

TEST_F(ACompletion, OffersOptionsThatCanStillBeGiven) {
    EXPECT_EQ(offered({"status", "--json", "-"}), "words\n"
                                                  "--help\tPrint this help message and exit\n"
                                                  "--follow\tGo on at each change, until SIGINT (Ctrl-C)\n");
    EXPECT_EQ(offered({"setup", "--mail=ann@example.org", "--host", "--path", "--password-file", "p", "-"}),
              "words\n"
              "--help\tPrint this help message and exit\n"
              "--path\tThe folder that holds the Quenmark folder\n"
              "--computer\tThis computer's identifier, where it is registered\n"
              "--no-enable\tDo not have the service started\n");
    EXPECT_EQ(offered({"doctor", "--", "-"}), "words\n");
    EXPECT_TRUE(offered({"call", "GetTopFileUpload", "--json", "f", ""}).starts_with("words\n--help"));
}

TEST_F(ACompletion, TellsWhereAPathIsExpected) {
    EXPECT_EQ(offered({"push", ""}), "files\n");
    EXPECT_EQ(offered({"bundle", "a"}), "files\n");
    EXPECT_EQ(offered({"call", "GetTopFileUpload", "--output="}), "files\n");
    EXPECT_EQ(offered({"setup", "--path", "/"}), "folders\n");
    EXPECT_EQ(offered({"prefs", "set", "quenmarkPathKey", ""}), "folders\n");
    EXPECT_EQ(offered({"prefs", "set", "userIdKey", ""}), "words\n");
}

TEST_F(ACompletion, OffersOperationsAsTheyAreTyped) {
    EXPECT_NE(offered({"call", ""}).find("\nGetTopFileUpload\tUploads.svc/GetTopFileUpload\n"), std::string::npos);
    EXPECT_NE(offered({"call", "as"}).find("\nasyncGetTopFileUpload\tUploads.svc/GetTopFileUpload\n"),
              std::string::npos);
}

TEST_F(ACompletion, OffersTheKeysOfTheOperationThatAreNotThere) {
    EXPECT_EQ(offered({"call", "updatefileupload", "--wire", "FileName=x", ""}), "words\n"
                                                                                 "FileUploadID=\n"
                                                                                 "ServerPath=\n"
                                                                                 "TransitUploadPath=\n");
    EXPECT_EQ(offered({"call", "UpdateFileUpload", "FileUploadID="}), "words\n");
    EXPECT_EQ(offered({"call", "NoSuchOperation", ""}), "");
}

TEST_F(ACompletion, OffersThePreferencesThatAreReadAndThoseThatAreSet) {
    home.setPreferences(R"({"userIdKey": "5", "colour": "blue"})");
    EXPECT_EQ(offered({"prefs", "get", ""}), "words\ncomputerIdKey\nuserIdKey\nquenmarkPathKey\ncolour\n");
    EXPECT_EQ(offered({"prefs", "set", ""}), "words\ncomputerIdKey\nuserIdKey\nquenmarkPathKey\n");
    home.setPreferences("{");
    EXPECT_EQ(offered({"prefs", "unset", ""}), "words\ncomputerIdKey\nuserIdKey\nquenmarkPathKey\n");
}

TEST_F(ACompletion, OffersTheComputersOfADevelopmentWebService) {
    const std::string computers = R"({"computers": [{"computer": "7", "mail": "ann@example.org"}, {"computer": "17",
        "mail": null}], "next": null})";
    listComputers(computers);
    EXPECT_EQ(offered({"push", "a.txt", "--to", ""}), "words\n7\tann@example.org\n17\n");
    deploy("127.0.0.1:9");
    listComputers(computers);
    EXPECT_EQ(offered({"push", "--server", server.host(), "--to="}), "words\n--to=7\tann@example.org\n--to=17\n");
    listComputers(computers);
    EXPECT_EQ(offered({"setup", "--host", server.host(), "--computer", "1"}), "words\n7\tann@example.org\n17\n");
    deploy(server.host());
    listComputers(computers);
    EXPECT_EQ(offered({"call", "GetTopFileUpload", "ToComputerID="}),
              "words\nToComputerID=7\tann@example.org\nToComputerID=17\n");
}

TEST_F(ACompletion, OffersNoComputerWhoseNameSteersATerminal) {
    listComputers(R"({"computers": [{"computer": "a\nfiles"}, {"computer": "\u001b]0;x\u0007"}, {"computer": ""}, 7,
        {"computer": 8}, {"computer": "b c", "mail": "\u001b[2J"}]})");
    EXPECT_EQ(offered({"push", "--to", ""}), "words\nb c\t\\x1B[2J\n");
}

TEST_F(ACompletion, OffersAThousandComputersWithShortNames) {
    std::string list = R"({"computer": ")" + std::string(257, 'x') + R"("}, {"computer": ")" + std::string(256, 'y') +
                       R"(", "mail": ")" + std::string(300, 'm') + R"("})";
    std::string expected = "words\n" + std::string(256, 'y') + "\t" + std::string(254, 'm') + "\n";
    for (int number = 1; number <= 1500; ++number) {
        list += R"(, {"computer": ")" + std::to_string(number) + R"("})";
        if (number <= 999)
            expected += std::to_string(number) + "\n";
    }
    listComputers(R"({"computers": [)" + list + "]}");
    EXPECT_EQ(offered({"push", "--to", ""}), expected);
}

TEST_F(ACompletion, OffersNoComputersWhereNoneAreListed) {
    server.enqueue(HttpReply::status(404, R"({"computers": [{"computer": "7"}]})"));
    EXPECT_EQ(offered({"push", "--to", ""}), "words\n");
    for (const auto* response : {"nonsense", "[]", "{}", R"({"computers": {"computer": "7"}})"}) {
        listComputers(response);
        EXPECT_EQ(offered({"push", "--to", ""}), "words\n") << response;
    }
    EXPECT_EQ(offered({"push", "--server", "no host", "--to", ""}), "words\n");
    server.stopListening();
    EXPECT_EQ(offered({"push", "--to", ""}), "words\n");
    home.setDeployment(R"({"serviceScheme": "ftp"})");
    EXPECT_EQ(offered({"push", "--server", "127.0.0.1:9", "--to", ""}), "words\n");
}

TEST_F(ACompletion, DoesNotWaitForASilentServer) {
    server.enqueue(HttpReply::silence());
    EXPECT_EQ(offered({"push", "--to", ""}), "");
    EXPECT_EQ(server.requests().size(), 1U);
}

TEST_F(ACompletion, IsNotCutWhenItsTimeEndsWhileItIsWritten) {
    std::string preferences = R"({"k0": 0)";
    std::string expected = "words\ncomputerIdKey\nuserIdKey\nquenmarkPathKey\nk0\n";
    for (int number = 1; number < 40; ++number) {
        const auto key = std::to_string(number) + std::string(256, 'k');
        preferences += ", \"" + key + "\": 0";
        expected += key + "\n";
    }
    home.setPreferences(preferences + "}");
    std::array<int, 2> ends{};
    ASSERT_EQ(::pipe2(ends.data(), O_CLOEXEC), 0);
    const Platform::FileDescriptor ours(ends[0]);
    Platform::FileDescriptor theirs(ends[1]);
    const int capacity = ::fcntl(ours.get(), F_SETPIPE_SZ, 4096);
    ASSERT_LT(capacity, static_cast<int>(expected.size()));
    const auto process = startTool({"complete", "prefs", "unset", ""}, [&] { ::dup2(theirs.get(), STDOUT_FILENO); });
    theirs = {};
    EXPECT_TRUE(TestSupport::pollUntil([&] {
        int available = 0;
        return ::ioctl(ours.get(), FIONREAD, &available) == 0 && available == capacity;
    }));
    ::kill(process, SIGALRM);
    std::string output;
    std::array<char, 4096> piece{};
    for (ssize_t count = 0; (count = ::read(ours.get(), piece.data(), piece.size())) > 0;)
        output.append(piece.data(), static_cast<std::size_t>(count));
    int status = -1;
    EXPECT_EQ(::waitpid(process, &status, 0), process);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(output == expected) << output.size() << " bytes of " << expected.size();
}

} // namespace ToolTest
