// How the verbs end where something does not work, and what they say of it.

#include "RunningTool.h"
#include "Support/BusPeer.h"
#include "Support/PrivateBus.h"
#include "ToolFixture.h"

#include <systemd/sd-bus.h>

#include <csignal>
#include <filesystem>

namespace ToolTest {

using TestSupport::HttpReply;

namespace {

constexpr const char* serviceName = "Velkarin.Quenmark.TopFileUploadXpcService";
constexpr const char* servicePath = "/Velkarin/Quenmark/TopFileUploadXpcService";

class ATool : public AQuenmarkTool {
protected:
    void setPreferencesToStart() const {
        folder.write("Quenmark/.keep", "");
        home.setPreferences(home.preferencesFor(folder.path()));
    }
    void expect(const std::vector<std::string>& arguments, int status, const std::string& errors) const {
        const auto result = run(arguments);
        EXPECT_EQ(result.status, status) << errors;
        EXPECT_EQ(result.errors, errors);
        EXPECT_EQ(result.output, "");
    }
};

/// A service that refuses the engine's method with an error, and takes messages.
class RefusingService {
public:
    explicit RefusingService(std::string error) : error_(std::move(error)) {
        EXPECT_GE(sd_bus_request_name(peer_.handle(), serviceName, 0), 0);
        EXPECT_GE(sd_bus_add_object(peer_.handle(), &slot_, servicePath, &RefusingService::answer, this), 0);
    }
    RefusingService(const RefusingService&) = delete;
    RefusingService& operator=(const RefusingService&) = delete;
    ~RefusingService() { sd_bus_slot_unref(slot_); }

    /// The methods that were called, with their interfaces.
    std::string calls;

private:
    static int answer(sd_bus_message* message, void* self, sd_bus_error*) {
        auto& service = *static_cast<RefusingService*>(self);
        const std::string method = sd_bus_message_get_member(message);
        service.calls.append(sd_bus_message_get_interface(message)).append(".").append(method).append(" ");
        if (method == "GetTopFileUpload")
            return sd_bus_reply_method_errorf(message, service.error_.c_str(), "refused on purpose");
        return sd_bus_reply_method_return(message, "");
    }

    std::string error_;
    TestSupport::BusPeer peer_;
    sd_bus_slot* slot_ = nullptr;
};

} // namespace

TEST_F(ATool, StartsByAMessageWhereTheEnginesMethodIsUnknownInAnyWay) {
    setPreferencesToStart();
    const TestSupport::PrivateBus bus;
    for (const char* error : {"UnknownInterface", "UnknownMethod", "UnknownObject"}) {
        const RefusingService service(std::string("org.freedesktop.DBus.Error.") + error);
        run({"start"});
        EXPECT_EQ(service.calls, "Velkarin.Quenmark.TopFileUploadXpcServiceProtocol.GetTopFileUpload "
                                 "Velkarin.Quenmark.XPC.Message ")
            << error;
    }
}

TEST_F(ATool, DoesNotStartByAMessageWhereTheEngineFails) {
    setPreferencesToStart();
    const TestSupport::PrivateBus bus;
    const RefusingService service("org.freedesktop.DBus.Error.Failed");
    expect({"start"}, 69, "quenmark: the service cannot be started: refused on purpose\n");
    EXPECT_EQ(service.calls, "Velkarin.Quenmark.TopFileUploadXpcServiceProtocol.GetTopFileUpload ");
}

TEST_F(ATool, EndsWith75WhereTheServiceIsNotLaunchedInTime) {
    setPreferencesToStart();
    const TestSupport::PrivateBus bus;
    const RefusingService service("org.freedesktop.DBus.Error.TimedOut");
    expect({"start"}, 75, "quenmark: the service cannot be started: refused on purpose\n");
}

TEST_F(ATool, TakesNoKeyThatIsNotUtf8) {
    expect({"prefs", "set", "ab\xFF", "x"}, 65, "quenmark: the key is not UTF-8 at byte 2\n");
}

TEST_F(ATool, WatchesNoRelativeFolder) {
    home.setPreferences(R"({"quenmarkPathKey":"home"})");
    expect({"watch"}, 78, "quenmark: quenmarkPathKey is not an absolute path\n");
}

TEST_F(ATool, EndsAWatchWhoseOutputIsFull) {
    const TestSupport::PrivateBus bus;
    home.setPreferences("{\"quenmarkPathKey\":\"" + home.path() + "\"}");
    std::filesystem::create_directories(home.path("Quenmark"));
    const auto result = TestSupport::runCommand(
        {"sh", "-c",
         "\"$0\" watch > /dev/full & tool=$!; item=0; while kill -0 $tool 2> /dev/null && [ $item -lt 500 ]; do "
         "item=$((item + 1)); mkdir \"$1/$item\"; sleep 0.02; done; wait $tool",
         QUENMARK_PROGRAM, home.path("Quenmark")});
    EXPECT_EQ(result.status, 74);
    EXPECT_EQ(result.errors, "quenmark: standard output: No space left on device\n");
}

TEST_F(ATool, ReportsThatItemsMayHaveArrivedUnseen) {
    const TestSupport::PrivateBus bus;
    const std::string root = home.path("Quenmark");
    home.setPreferences("{\"quenmarkPathKey\":\"" + home.path() + "\"}");
    std::filesystem::create_directories(root);
    RunningTool tool({"watch", "--json"});
    ASSERT_TRUE(tool.waitForOutput("{\"event\":\"service\",\"running\":false}\n")) << tool.errors();
    tool.signal(SIGSTOP);
    // More events than the kernel keeps (inotify(7), max_queued_events).
    home.write("Quenmark/a", "");
    for (int i = 0; i < 10'000; ++i) {
        std::filesystem::rename(root + "/a", root + "/b");
        std::filesystem::rename(root + "/b", root + "/a");
    }
    tool.signal(SIGCONT);
    EXPECT_TRUE(tool.waitForErrors("quenmark: some items under " + root + " may have arrived unseen\n"))
        << tool.errors();
    tool.signal(SIGTERM);
    EXPECT_EQ(tool.wait(), 0);
}

TEST_F(ATool, TakesEveryStatusOfSuccessForAPush) {
    const auto path = folder.write("a", "");
    for (const auto& [status, expected] : {std::pair(200, 0), std::pair(299, 0), std::pair(300, 76)}) {
        server.enqueue(HttpReply::status(status, ""));
        EXPECT_EQ(run({"push", path, "--to", "7"}).status, expected) << status;
    }
}

TEST_F(ATool, ShowsTheBeginningOfALongResponseToAPush) {
    const auto path = folder.write("a", "");
    server.enqueue(HttpReply::status(500, std::string(400, 'x') + "y"));
    expect({"push", path, "--to", "7"}, 76, "quenmark: \\a: the server returned 500: " + std::string(400, 'x') + "\n");
}

TEST_F(ATool, EndsAPushByWhatHasGoneWrong) {
    const auto path = folder.write("a", "");
    const auto nowhere = run({"push", path, "--to", "7", "--server", "nowhere.invalid"});
    EXPECT_EQ(nowhere.status, 69);
    EXPECT_TRUE(nowhere.errors.starts_with("quenmark: \\a: The host name was not found")) << nowhere.errors;
    server.enqueue(HttpReply::raw("SSH-2.0-server\r\n").thenClose());
    EXPECT_EQ(run({"push", path, "--to", "7"}).status, 74);
}

TEST_F(ATool, LeavesOutOfAPushWhatIsGoneMeanwhile) {
    folder.write("root/a", "");
    folder.write("root/b", "");
    folder.write("root/c", "");
    server.setHandler([this](const auto& request) {
        if (request.target.ends_with("/a"))
            std::filesystem::remove(folder.path("root/b"));
        return HttpReply::status(201, "{}");
    });
    const auto result = run({"push", folder.path("root"), "--to", "7"});
    EXPECT_EQ(result.status, 65);
    EXPECT_EQ(result.output, "\\root\n\\root\\a\n\\root\\c\n");
    EXPECT_EQ(result.errors, "quenmark: left out: \\root\\b: The file does not exist or cannot be read: " +
                                 folder.path("root/b") + "\nquenmark: 1 item was left out\n");
}

TEST_F(ATool, TakesTheWholeNumbersAndTruthValuesOfABody) {
    server.setHandler([](const auto&) { return HttpReply::json("{}"); });
    const auto result = runWithInput(R"({"ErrorClass":18446744073709551615,"ErrorMethod":-7,"ErrorMessage":false,)"
                                     R"("ComputerID":true,"UserID":"x"})",
                                     {"call", "LogError", "--json", "-"});
    EXPECT_EQ(result.status, 0) << result.errors;
    ASSERT_EQ(server.requests().size(), 1U);
    EXPECT_EQ(server.requests()[0].body,
              "{\n  \"ErrorClass\" : \"18446744073709551615\",\n  \"ErrorMethod\" : \"-7\",\n"
              "  \"ErrorMessage\" : \"False\",\n  \"ComputerID\" : \"True\",\n  \"UserID\" : \"x\"\n}");
}

TEST_F(ATool, TakesABodyOfAtMost256MiB) {
    const auto path = folder.write("body", "");
    std::filesystem::resize_file(path, (std::uintmax_t{256} << 20) + 1);
    const auto tooLong = run({"call", "LogError", "--json", path});
    EXPECT_EQ(tooLong.status, 74) << tooLong.errors;
    EXPECT_EQ(tooLong.errors, "quenmark: " + path + ": File too large\n");
    std::filesystem::resize_file(path, std::uintmax_t{256} << 20);
    const auto longest = run({"call", "LogError", "--json", path});
    EXPECT_EQ(longest.status, 65) << longest.errors;
    EXPECT_TRUE(longest.errors.starts_with("quenmark: Not JSON: ")) << longest.errors;
}

TEST_F(ATool, SendsNoFileWithoutAName) {
    expect({"call", "UpdateFileRequestWithStream", "--file", ""}, 64, "quenmark: --file names no file\n");
}

TEST_F(ATool, WaitsFromAMillisecondToABillionSeconds) {
    server.setHandler([](const auto&) { return HttpReply::json("{}"); });
    for (const auto& [seconds, status] : {std::pair("1e9", 0), std::pair("1000000000.5", 64), std::pair("0.0009", 64)})
        EXPECT_EQ(run({"call", "GetTopFileUpload", "--timeout", seconds}).status, status) << seconds;
    server.setHandler([](const auto&) { return HttpReply::silence(); });
    EXPECT_EQ(run({"call", "GetTopFileUpload", "--timeout", "0.001"}).status, 75);
}

TEST_F(ATool, ReportsWhyAResponseCannotBeRead) {
    server.enqueue(HttpReply::json("[]"));
    expect({"call", "GetTopFileUpload"}, 70,
           "quenmark: the response cannot be read: the response is not a dictionary\n");
}

} // namespace ToolTest
