#include "Platform/Loop/RunLoop.h"
#include "Tools/Output.h"
#include "Tools/ServiceStop.h"
#include "Tools/Verbs.h"

#include <CLI/CLI.hpp>

namespace Tools {

namespace {

ExitStatus stop() {
    Platform::RunLoop loop;
    ServiceStop::Outcome result;
    ServiceStop stopping([&](const ServiceStop::Outcome& outcome) {
        result = outcome;
        loop.stop(0);
    });
    stopping.start();
    loop.run();
    if (result.failure)
        throw Failure(*result.failure);
    if (!result.hasRun)
        printMessage("the service does not run");
    return ExitStatus::Success;
}

} // namespace

void addStop(CLI::App& program, Action& action) {
    auto& verb = *program.add_subcommand("stop", "End the service");
    verb.footer(
        "Waits until the service has ended, at most 30 seconds. One that does not run is no error. What has\n"
        "been received of an item is kept. Ends with 69 where the bus cannot be reached or the service belongs\n"
        "to another user or container, and with 75 where it does not end in time.\n\n"
        "Example:\n  quenmark stop");
    verb.callback([&action] { action = stop; });
}

} // namespace Tools
