#include "Tools/EngineStart.h"
#include "Tools/RequiredSettings.h"
#include "Tools/Verbs.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace Tools {

void addStart(CLI::App& program, Action& action) {
    auto& verb = *program.add_subcommand("start", "Launch the service and start its engine");
    const auto startsAnother = std::make_shared<bool>(false);
    verb.add_flag("--another", *startsAnother, "Start one more engine where one runs already");
    verb.footer(
        "The session bus launches the service where it does not run yet. Where an engine runs that is not\n"
        "stalled, none is started; the one of managed mode asks now. Ends with 69 where the bus or the service\n"
        "cannot be reached, with 75 where it does not answer in 30 seconds, and with 78 where computerIdKey or\n"
        "quenmarkPathKey is not set, the folder does not exist or deployment.json is malformed.\n\n"
        "Example:\n  quenmark start");
    verb.callback([&action, startsAnother] {
        action = [startsAnother] {
            requireSettings();
            return startEngine(*startsAnother);
        };
    });
}

} // namespace Tools
