// The commands of Docs/bus.md that read the status do what the document says, as they are printed there.

#include "EndToEnd/RealServiceFixture.h"
#include "Support/DocumentCommands.h"

namespace Quenmark {

using TestSupport::documentCommands;
using TestSupport::runCommand;

class TheStatusInTheBusDocument : public RealServiceFixture {};

TEST_P(TheStatusInTheBusDocument, IsReadByItsCommands) {
    deploy(server.host());
    const auto unlaunched = documentCommands(BUS_DOCUMENT, "status-without-launch");
    ASSERT_EQ(unlaunched.size(), 1U);
    EXPECT_NE(runCommand({"sh", "-c", unlaunched[0]}).status, 0);
    EXPECT_EQ(serviceProcess(), std::nullopt);
    const auto lines = documentCommands(BUS_DOCUMENT, "status");
    ASSERT_EQ(lines.size(), 5U);
    std::vector<std::string> outputs;
    for (const auto& line : lines) {
        const auto result = runCommand({"sh", "-c", line});
        EXPECT_EQ(result.status, 0) << line << '\n' << result.errors;
        outputs.push_back(result.output);
    }
    EXPECT_EQ(outputs[0], std::string("s \"") + GetParam().mode + "\"\n");
    EXPECT_NE(outputs[1].find("\"aa{sv}\""), std::string::npos) << outputs[1];
    EXPECT_NE(outputs[2].find(".Engines "), std::string::npos) << outputs[2];
    EXPECT_NE(outputs[3].find("'ItemsReceived': <uint64 0>"), std::string::npos) << outputs[3];
    EXPECT_NE(outputs[4].find("string \"ServiceRoot\""), std::string::npos) << outputs[4];
    EXPECT_EQ(runCommand({"sh", "-c", unlaunched[0]}).output, "v " + outputs[0]);
}

INSTANTIATE_TEST_SUITE_P(Variations, TheStatusInTheBusDocument, ::testing::Values(modern, managedWrapper),
                         [](const auto& suite) { return suite.param.name; });

} // namespace Quenmark
