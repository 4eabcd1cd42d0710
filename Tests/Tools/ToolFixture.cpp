#include "ToolFixture.h"

#include <boost/json/object.hpp>
#include <boost/json/serialize.hpp>

namespace ToolTest {

using TestSupport::CommandResult;

AQuenmarkTool::AQuenmarkTool() {
    deploy(server.host());
}

CommandResult AQuenmarkTool::run(const std::vector<std::string>& arguments) const {
    std::vector<std::string> command{QUENMARK_PROGRAM};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return TestSupport::runCommand(command);
}

CommandResult AQuenmarkTool::runWithInput(const std::string& input, const std::vector<std::string>& arguments) const {
    std::vector<std::string> command{
        "sh", "-c", "input=$1; shift; exec \"$@\" < \"$input\"", "sh", folder.write("input", input), QUENMARK_PROGRAM};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return TestSupport::runCommand(command);
}

void AQuenmarkTool::deploy(const std::string& host, double release) const {
    const boost::json::object settings{{"serviceHost", host}, {"appKitVersionNumber", release}};
    home.setDeployment(boost::json::serialize(settings));
}

} // namespace ToolTest
