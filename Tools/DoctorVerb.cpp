#include "Platform/Loop/RunLoop.h"
#include "Tools/CallLog.h"
#include "Tools/Doctor/CheckTable.h"
#include "Tools/Doctor/Doctor.h"
#include "Tools/Output.h"
#include "Tools/Verbs.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace Tools {

namespace {

ExitStatus showChecks(bool asJson) {
    Platform::RunLoop loop;
    // The checks report what the library logs.
    const CallLog quiet(false);
    const auto checks = runChecks(loop);
    if (asJson)
        print(prettyJson(checksJson(checks)));
    else
        printChecks(checks);
    return isHealthy(checks) ? ExitStatus::Success : ExitStatus::ChecksFailed;
}

} // namespace

void addDoctor(CLI::App& program, Action& action) {
    auto& verb = *program.add_subcommand("doctor", "Check everything that the service needs, with advice");
    const auto asJson = std::make_shared<bool>(false);
    verb.add_flag("--json", *asJson, "Print a JSON array of {check, state, detail, advice}");
    verb.footer("Looks at the session bus, the service and its engines, the settings, the web service, the folder and\n"
                "the temporary area. Launches and changes nothing. Ends with 1 where a check is a failure, that is,\n"
                "where items cannot arrive, and else with 0.\n\n"
                "Examples:\n  quenmark doctor\n"
                "  quenmark doctor --json | jq -r '.[] | select(.state == \"failure\") | .advice'");
    verb.callback([&action, asJson] { action = [asJson] { return showChecks(*asJson); }; });
}

} // namespace Tools
