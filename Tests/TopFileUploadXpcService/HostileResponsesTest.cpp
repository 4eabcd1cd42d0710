// Responses that no correct server sends. The engine goes on, and touches nothing but its own paths.

#include "Platform/Files/Files.h"
#include "TopFileUploadXpcService/EngineFixture.h"

namespace Quenmark {

using TestSupport::HttpReply;

class AHostileResponse : public EngineFixture {
protected:
    /// Lets one poll have that response, and waits until `condition` holds.
    void poll(HttpReply reply, const std::function<bool()>& condition) {
        server.enqueue(pollTarget, std::move(reply));
        start();
        ASSERT_TRUE(runUntil(condition));
    }
    void expectNextPassAsks() {
        const auto asked = questions();
        nextPass();
        EXPECT_EQ(questions(), asked + 1);
    }
};

TEST_F(AHostileResponse, ThatIsNoDictionaryOfJsonOpensTheGateAgain) {
    const std::string deep = std::string(100'000, '[') + std::string(100'000, ']');
    for (const std::string& body : {std::string(), std::string("null"), std::string("7"), std::string("\"0\""), deep,
                                    std::string("{\"ReturnStatus\":\"0\""), std::string("\xFF\xFE\0{}", 5)}) {
        poll(HttpReply::ok(body), [&] { return engineProbe.gateIsOpen(); });
        expectNextPassAsks();
    }
}

TEST_F(AHostileResponse, ThatIsAnArrayIsLoggedAndLeavesTheGateClosed) {
    poll(HttpReply::json("[1,2]"),
         [&] { return log.contains("Uncaught exception on main: the response is not a dictionary"); });
    expectStalled();
}

TEST_F(AHostileResponse, ThatAnnouncesAGigabyteOpensTheGateAgainWithoutReadingIt) {
    poll(HttpReply::raw("HTTP/1.1 200 OK\r\nContent-Length: 1073741824\r\n\r\n{"),
         [&] { return engineProbe.gateIsOpen(); });
}

TEST_F(AHostileResponse, ThatIsNotHttpOpensTheGateAgain) {
    poll(HttpReply::raw("SSH-2.0-OpenSSH\r\n").thenClose(), [&] { return engineProbe.gateIsOpen(); });
}

TEST_F(AHostileResponse, WithAnyTypeInAnyFieldIsSurvived) {
    const std::vector<std::string> values = {"null",
                                             "0",
                                             "-1.5e300",
                                             "true",
                                             "[]",
                                             "[[[]]]",
                                             "{}",
                                             R"({"a":{"b":1}})",
                                             R"("\u0000")",
                                             R"("")",
                                             "18446744073709551615"};
    for (const char* key : {"FileName", "FileUploadID", "IsFile", "ServerPath", "ToComputerID", "TransitUploadPath",
                            "UploadProcessed", "Attachment", "error"}) {
        for (const auto& value : values) {
            engineProbe.setReturnStatus(std::nullopt);
            server.enqueue(acknowledgeTarget, HttpReply::json("{}"));
            poll(HttpReply::json(R"({"ReturnStatus":"0","FileName":"\\x",")" + std::string(key) + "\":" + value + "}"),
                 [&] { return engineProbe.returnStatus() == "99"; });
            EXPECT_TRUE(engineProbe.gateIsOpen()) << key << " " << value;
        }
    }
    const auto names = Platform::Files::contentsOfDirectory(home.path());
    for (const auto& name : std::get<std::vector<std::string>>(names))
        EXPECT_TRUE(name.starts_with("Quenmark")) << name;
}

TEST_F(AHostileResponse, WithAZeroByteInTheNameNamesNoFile) {
    server.enqueue(streamTarget, HttpReply::ok("content", streamHeaders("x")));
    server.enqueue(acknowledgeTarget, HttpReply::json("{}"));
    poll(HttpReply::json(item(R"(\\a\u0000b)")), [&] { return count(acknowledgeTarget) == 1; });
    EXPECT_FALSE(Platform::Files::exists(placed("a")));
    EXPECT_FALSE(Platform::Files::exists(temporary("a")));
}

TEST_F(AHostileResponse, WithRepeatedHeaderFieldsIsReadAsTheirJoinedText) {
    server.enqueue(streamTarget, HttpReply::ok("content", {{"ReturnStatus", "2"}, {"ReturnStatus", "0"}}));
    poll(HttpReply::json(item(R"(\\a)")), [&] { return engineProbe.returnStatus() == "99"; });
    EXPECT_TRUE(engineProbe.gateIsOpen()) << "the joined text 2, 0 reads as 2";
}

TEST_F(AHostileResponse, WithAHugeHeaderFieldEndsTheDownload) {
    server.enqueue(streamTarget, HttpReply::ok("content", {{"FileName", std::string(8 << 20, 'x')}}));
    poll(HttpReply::json(item(R"(\\a)")), [&] { return engineProbe.gateIsOpen(); });
    EXPECT_FALSE(Platform::Files::exists(temporary("a")));
}

TEST_F(AHostileResponse, CutAtAnyByteLetsTheNextPassAskAgain) {
    const auto whole = HttpReply::json(R"({"ReturnStatus":"1"})");
    for (std::size_t length = 0; length < whole.bytes().size(); ++length) {
        // A connection that was used before is tried once more when nothing came over it at all.
        server.closeAll();
        server.enqueue(pollTarget, whole.cutAfter(length).thenReset());
        const auto failures = log.count("network error");
        engineProbe.setGate(true);
        engine->TopFileUploadProcess();
        ASSERT_TRUE(runUntil([&] { return log.count("network error") == failures + 1; })) << length;
        EXPECT_TRUE(engineProbe.gateIsOpen());
    }
}

} // namespace Quenmark
