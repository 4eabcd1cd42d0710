// The commands of Docs/bus.md do what the document says, as they are printed there.

#include "Platform/Ipc/Listener.h"
#include "Platform/Ipc/MessageService.h"
#include "Platform/Loop/RunLoop.h"
#include "Support/BusPeer.h"
#include "Support/Command.h"
#include "Support/DocumentCommands.h"
#include "Support/LogCapture.h"
#include "Support/PrivateBus.h"
#include "XPCWrappers/MessageAddress.h"
#include "XPCWrappers/XPCService.h"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace {

using namespace Quenmark;
using namespace Platform;
using TestSupport::BusPeer;
using TestSupport::runCommand;
using Strings = std::vector<std::string>;

const std::string busName = "Velkarin.Quenmark.TopFileUploadXpcService";
const std::string objectPath = "/Velkarin/Quenmark/TopFileUploadXpcService";

Strings commands(const std::string& mark) {
    return TestSupport::documentCommands(BUS_DOCUMENT, mark);
}

TestSupport::CommandResult run(const std::string& command) {
    return runCommand({"sh", "-c", command});
}

class TheBusDocument : public testing::Test {
protected:
    RunLoop loop;
    TestSupport::PrivateBus bus;
};

class AcceptingDelegate final : public Ipc::ListenerDelegate {
public:
    int calls = 0;

private:
    bool listenerShouldAcceptNewConnection(Ipc::Listener&,
                                           const std::shared_ptr<Ipc::Connection>& connection) override {
        connection->setExportedInterface({busName + "Protocol", {"GetTopFileUpload"}});
        connection->setExportedObject({{"GetTopFileUpload", [this] { ++calls; }}});
        connection->resume();
        return true;
    }
};

TEST_F(TheBusDocument, TellsHowToCallTheListener) {
    AcceptingDelegate delegate;
    Ipc::Listener listener({busName, objectPath}, {busName + "Protocol", {"GetTopFileUpload"}});
    listener.setDelegate(&delegate);
    listener.resume();
    const auto lines = commands("listener");
    ASSERT_EQ(lines.size(), 3U);
    ASSERT_TRUE(BusPeer().waitForOwner(busName));
    for (const auto& line : lines) {
        const auto result = run(line);
        EXPECT_EQ(result.status, 0) << line << '\n' << result.errors;
    }
    EXPECT_EQ(delegate.calls, 3);
}

class TheBusDocumentOnMessages : public TheBusDocument {
protected:
    TheBusDocumentOnMessages() {
        messages.resume();
        EXPECT_TRUE(BusPeer().waitForOwner(busName));
    }

    Strings received;
    const XPCService service{[this](const std::shared_ptr<XPCConnection>& connection) {
        connection->setEventHandler(
            [this](const std::optional<XPC::Object>& object, XPCConnection&) { received.push_back(text(object)); });
    }};
    Ipc::MessageService messages{messageAddress(busName), XPCServiceConnectionHandler};
};

TEST_F(TheBusDocumentOnMessages, TellsHowToSendThem) {
    const TestSupport::LogCapture log;
    const auto lines = commands("messages");
    ASSERT_EQ(lines.size(), 7U);
    for (const auto& line : lines) {
        const auto result = run(line);
        EXPECT_EQ(result.status, 0) << line << '\n' << result.errors;
    }
    EXPECT_EQ(log.entries(), (Strings{"LOG: one line for the log"}));
    EXPECT_EQ(
        received,
        (Strings{
            "start", "start", "start",
            "{\n    \"when\" = \"1500000000.123457 seconds since 1970\";\n    \"list\" = (\n        \"a\",\n        "
            "\"b\"\n    );\n}",
            "<XPCUUID 00010203-0405-0607-0809-0A0B0C0D0E0F>", "{\n    \"one\" = 1;\n    \"two\" = 2;\n}"}));
}

TEST_F(TheBusDocumentOnMessages, TellsWhatARefusalLooksLike) {
    const TestSupport::LogCapture log;
    const auto lines = commands("refused");
    ASSERT_EQ(lines.size(), 1U);
    const auto result = run(lines[0]);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.errors, "Call failed: a structure (ii) has no meaning here\n");
    std::ifstream document(BUS_DOCUMENT);
    std::stringstream content;
    content << document.rdbuf();
    EXPECT_NE(content.str().find("`" + result.errors.substr(0, result.errors.size() - 1) + "`"), std::string::npos);
}

TEST_F(TheBusDocumentOnMessages, NamesTheInterfaceThatIsThere) {
    const auto result = run("busctl --user introspect " + busName + " " + objectPath);
    EXPECT_EQ(result.status, 0) << result.errors;
    EXPECT_NE(result.output.find("Velkarin.Quenmark.XPC "), std::string::npos) << result.output;
    EXPECT_NE(result.output.find(".Message "), std::string::npos) << result.output;
}

} // namespace
