#include "Platform/StandardStreams.h"
#include "Tools/Completion/Completion.h"
#include "Tools/Output.h"
#include "Tools/UnknownWord.h"
#include "Tools/Verbs.h"
#include "Tools/Version.h"

#include <CLI/CLI.hpp>

#include <exception>
#include <sstream>
#include <string>
#include <string_view>

namespace {

using Tools::ExitStatus;

ExitStatus run(int argc, char** argv) {
    CLI::App program("The command-line tool of the top-file service", "quenmark");
    program.set_version_flag("--version", std::string("quenmark ") + Tools::version());
    program.require_subcommand(1);
    program.footer("More on each verb: quenmark VERB --help\n\nExample:\n  quenmark status\n\n" +
                   Tools::describedExitStatuses());
    Tools::Action action;
    Tools::addStart(program, action);
    Tools::addStop(program, action);
    Tools::addStatus(program, action);
    Tools::addSetup(program, action);
    Tools::addDoctor(program, action);
    Tools::addBundle(program, action);
    Tools::addPrefs(program, action);
    Tools::addWatch(program, action);
    Tools::addPush(program, action);
    Tools::addOperations(program, action);
    Tools::addCall(program, action);
    if (argc > 1 && argv[1] == std::string_view(Tools::Completion::request))
        return Tools::Completion::complete(program, {argv + 2, argv + argc});
    try {
        program.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
            std::ostringstream text;
            program.exit(error, text, text);
            Tools::print(text.str());
            return ExitStatus::Success;
        }
        const auto unknown = Tools::unknownWord(program, {argv + 1, argv + argc});
        throw Tools::Failure(ExitStatus::Usage, unknown.value_or(error.what()) + " (--help tells more)");
    }
    return action();
}

} // namespace

int main(int argc, char** argv) {
    Platform::StandardStreams::keepOpen();
    ExitStatus status = ExitStatus::Software;
    try {
        status = run(argc, argv);
    } catch (const Tools::Failure& failure) {
        if (*failure.what() != '\0')
            Tools::printMessage(failure.what());
        status = failure.status();
    } catch (const std::exception& exception) {
        Tools::printMessage(exception.what());
    }
    return static_cast<int>(status);
}
