#include "Tools/Call.h"
#include "Tools/Verbs.h"

#include <CLI/CLI.hpp>

#include <memory>

namespace Tools {

namespace {

constexpr const char* help =
    "OPERATION is a name from `quenmark operations`, also without \"async\" and in any case of letters. Key is a key\n"
    "of its request, spelled exactly; a key that is not given is not sent. The response is printed as JSON under the\n"
    "names of its properties: a record as an object, a list as an array, a bare status as a value or null. A stream\n"
    "is written as it comes; --output makes no file where nothing came. A response is held in memory, of which it may\n"
    "take 64 MiB.\n\n"
    "A body of --json is an object with the operation's keys; for asyncSyncFilesInTableAndCloud an array of such\n"
    "objects, for which Key=value gives a list of one. Requests carry texts: a whole number stands for its digits,\n"
    "true and false for \"True\" and \"False\", and null for a key that is not sent.\n\n"
    "Examples:\n"
    "  quenmark call GetTopFileUpload ToComputerID=17\n"
    "  quenmark call asyncSyncFilesInTableAndCloud --json - < changes.json\n"
    "  quenmark call GetTopFileUploadWithStream ToComputerID=17 --output item.bin\n"
    "  quenmark call UpdateFileRequestWithStream FileRequestID=3 'TransitDownloadPath=t\\3' --file report.pdf\n\n";

} // namespace

void addCall(CLI::App& program, Action& action) {
    auto& verb = *program.add_subcommand("call", "Carry out an operation of the web service and print its response");
    const auto arguments = std::make_shared<CallArguments>();
    verb.add_option("OPERATION", arguments->operation, "The operation")->required()->type_name("");
    auto* pairs = verb.add_option("PAIR", arguments->pairs, "A field of the request")->type_name("Key=value");
    verb.add_option_function<std::string>(
            "--json", [arguments](const std::string& source) { arguments->json = source; },
            "The whole request as JSON, from a file or, as \"-\", from standard input")
        ->type_name("FILE")
        ->excludes(pairs);
    verb.add_option_function<std::string>(
            "--file", [arguments](const std::string& path) { arguments->file = path; },
            "The file that an upload sends, in the place of FilePath; no blanks in its path")
        ->type_name("PATH");
    verb.add_option_function<std::string>(
            "--output", [arguments](const std::string& path) { arguments->output = path; },
            "Where the response goes (standard output)")
        ->type_name("FILE");
    verb.add_option_function<double>(
            "--timeout", [arguments](double seconds) { arguments->timeout = std::chrono::duration<double>(seconds); },
            "How long to wait for a response (90)")
        ->type_name("SECONDS")
        ->check(CLI::Range(0.001, 1e9).description(""));
    verb.add_flag("--wire", arguments->printsWireKeys, "Print the response under the keys that it has on the wire");
    verb.add_flag("--headers", arguments->printsHeaders, "Print a stream's header fields on standard error");
    verb.add_flag("--fail", arguments->failsByStatus, "End with 76 where \"ReturnStatus\" is not \"0\"");
    verb.add_flag("--verbose", arguments->verbose, "Write the library's log to standard error, passwords as ***");
    verb.footer(help + describedExitStatuses());
    verb.callback([&action, arguments] { action = [arguments] { return call(*arguments); }; });
}

} // namespace Tools
