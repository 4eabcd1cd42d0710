// The whole help of the program and of each verb.

#include "ToolFixture.h"

#include <iterator>
#include <sstream>

namespace ToolTest {

class TheWholeHelp : public AQuenmarkTool {
protected:
    /// The help of a verb, without the list of exit statuses that some have at their end.
    void expect(const std::string& verb, const std::string& help) const {
        std::istringstream words(verb + " --help");
        const auto result = run({std::istream_iterator<std::string>(words), {}});
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.output.substr(0, result.output.find("Exit status:")), help);
    }
};

/// What the verbs take that have the name of a preference alone.
const std::string oneKey = "\n"
                           "Positionals:\n"
                           "  KEY TEXT REQUIRED           The preference's name\n"
                           "\n"
                           "Options:\n"
                           "  -h,--help                   Print this help message and exit\n"
                           "\n";

TEST_F(TheWholeHelp, OfTheProgram) {
    expect("", "The command-line tool of the top-file service\n"
               "Usage: quenmark [OPTIONS] SUBCOMMAND\n"
               "\n"
               "Options:\n"
               "  -h,--help                   Print this help message and exit\n"
               "  --version                   Display program version information and exit\n"
               "\n"
               "Subcommands:\n"
               "  start                       Launch the service and start its engine\n"
               "  stop                        End the service\n"
               "  status                      Show what the service is doing\n"
               "  setup                       Set this computer up: host, account, computer, folder\n"
               "  doctor                      Check everything that the service needs, with advice\n"
               "  bundle                      Gather what a support request needs\n"
               "  prefs                       Read and change the preferences of the service\n"
               "  watch                       Follow items as they arrive, with progress\n"
               "  push                        Queue a file or folder for a computer at a development web service\n"
               "  operations                  List the operations of the web service\n"
               "  call                        Carry out an operation of the web service and print its response\n"
               "\n"
               "More on each verb: quenmark VERB --help\n"
               "\n"
               "Example:\n"
               "  quenmark status\n"
               "\n");
}

TEST_F(TheWholeHelp, OfStart) {
    expect("start",
           "Launch the service and start its engine\n"
           "Usage: quenmark start [OPTIONS]\n"
           "\n"
           "Options:\n"
           "  -h,--help                   Print this help message and exit\n"
           "  --another                   Start one more engine where one runs already\n"
           "\n"
           "The session bus launches the service where it does not run yet. Where an engine runs that is not\n"
           "stalled, none is started; the one of managed mode asks now. Ends with 69 where the bus or the service\n"
           "cannot be reached, with 75 where it does not answer in 30 seconds, and with 78 where computerIdKey or\n"
           "quenmarkPathKey is not set, the folder does not exist or deployment.json is malformed.\n"
           "\n"
           "Example:\n"
           "  quenmark start\n");
}

TEST_F(TheWholeHelp, OfStop) {
    expect("stop",
           "End the service\n"
           "Usage: quenmark stop [OPTIONS]\n"
           "\n"
           "Options:\n"
           "  -h,--help                   Print this help message and exit\n"
           "\n"
           "Waits until the service has ended, at most 30 seconds. One that does not run is no error. What has\n"
           "been received of an item is kept. Ends with 69 where the bus cannot be reached or the service "
           "belongs\n"
           "to another user or container, and with 75 where it does not end in time.\n"
           "\n"
           "Example:\n"
           "  quenmark stop\n");
}

TEST_F(TheWholeHelp, OfStatus) {
    expect("status",
           "Show what the service is doing\n"
           "Usage: quenmark status [OPTIONS]\n"
           "\n"
           "Options:\n"
           "  -h,--help                   Print this help message and exit\n"
           "  --json                      Print a JSON object; with --follow one a line\n"
           "  --follow                    Go on at each change, until SIGINT (Ctrl-C)\n"
           "\n"
           "Never launches the service; --follow waits for one that does not run. On a terminal --follow redraws\n"
           "the screen, elsewhere it prints a line for each change, and it ends with 0.\n"
           "\n"
           "Ends with 0 where an engine has been started and none has a problem, with 69 where the service does\n"
           "not run, 75 where an engine is stalled, retrying, blocked or offline or none has been started, and 78\n"
           "where one is not configured; with 70 where the service's answer is no status.\n"
           "\n"
           "Examples:\n"
           "  quenmark status\n"
           "  quenmark status --json | jq -r '.engines[].state'\n");
}

TEST_F(TheWholeHelp, OfSetup) {
    expect("setup",
           "Set this computer up: host, account, computer, folder\n"
           "Usage: quenmark setup [OPTIONS]\n"
           "\n"
           "Options:\n"
           "  -h,--help                   Print this help message and exit\n"
           "  --host HOST[:PORT]          The web service\n"
           "  --mail ADDRESS Excludes: --user\n"
           "                              The account's mail address\n"
           "  --password-file FILE Excludes: --user\n"
           "                              Where the account's password is; \"-\" for standard input\n"
           "  --path DIR                  The folder that holds the Quenmark folder\n"
           "  --computer ID               This computer's identifier, where it is registered\n"
           "  --user ID Excludes: --mail --password-file\n"
           "                              The user's identifier, in the place of an account\n"
           "  --no-enable                 Do not have the service started\n"
           "\n"
           "Asks on the terminal for what is neither given nor set already. Signs the user in, which registers an "
           "address\n"
           "that the web service does not know, registers this computer, makes the folder DIR/Quenmark, writes the\n"
           "preferences and deployment.json (in managed mode), has the service started with the session, and ends with "
           "what\n"
           "`quenmark doctor` finds.\n"
           "\n"
           "Run again, it changes what its options name and keeps the rest. A computer that is set up for the same "
           "account\n"
           "is not registered again, unless `quenmark prefs unset computerIdKey` was run before. Where it fails, the\n"
           "settings stay as they were.\n"
           "\n"
           "Examples:\n"
           "  quenmark setup\n"
           "  quenmark setup --host 127.0.0.1:8080 --mail ann@example.org --password-file secret --path \"$HOME\"\n"
           "\n");
}

TEST_F(TheWholeHelp, OfPrefs) {
    expect("prefs",
           "Read and change the preferences of the service\n"
           "Usage: quenmark prefs [OPTIONS] SUBCOMMAND\n"
           "\n"
           "Options:\n"
           "  -h,--help                   Print this help message and exit\n"
           "\n"
           "Subcommands:\n"
           "  list                        Print every preference, one KEY=VALUE a line\n"
           "  get                         Print the value of one preference\n"
           "  set                         Set one preference\n"
           "  unset                       Remove one preference\n"
           "\n"
           "Keys that the service reads: computerIdKey (this computer's identifier), userIdKey (the signed-in\n"
           "user's), quenmarkPathKey (the folder that holds the Quenmark folder, which `set` makes). Changes are\n"
           "atomic, and the running service reads them at its next request.\n"
           "\n"
           "Example:\n"
           "  quenmark prefs set computerIdKey 17\n");
}

TEST_F(TheWholeHelp, OfPrefsList) {
    expect("prefs list", "Print every preference, one KEY=VALUE a line\n"
                         "Usage: quenmark prefs list [OPTIONS]\n"
                         "\n"
                         "Options:\n"
                         "  -h,--help                   Print this help message and exit\n"
                         "  --json                      Print a JSON object\n"
                         "\n"
                         "Example:\n"
                         "  quenmark prefs list\n");
}

TEST_F(TheWholeHelp, OfPrefsGet) {
    expect("prefs get", "Print the value of one preference\n"
                        "Usage: quenmark prefs get [OPTIONS] KEY\n" +
                            oneKey +
                            "Ends with 66 where the preference is not set.\n"
                            "\n"
                            "Example:\n"
                            "  quenmark prefs get quenmarkPathKey\n");
}

TEST_F(TheWholeHelp, OfPrefsSet) {
    expect("prefs set",
           "Set one preference\n"
           "Usage: quenmark prefs set [OPTIONS] KEY VALUE\n"
           "\n"
           "Positionals:\n"
           "  KEY TEXT REQUIRED           The preference's name\n"
           "  VALUE TEXT REQUIRED         Its value, kept as a string\n"
           "\n"
           "Options:\n"
           "  -h,--help                   Print this help message and exit\n"
           "  --force                     Set a key that nothing reads\n"
           "\n"
           "Setting quenmarkPathKey also makes the folder VALUE/Quenmark. Behind \"--\" a value may begin\n"
           "with \"-\".\n"
           "\n"
           "Examples:\n"
           "  quenmark prefs set quenmarkPathKey \"$HOME\"\n"
           "  quenmark prefs set -- userIdKey -1\n");
}

TEST_F(TheWholeHelp, OfPrefsUnset) {
    expect("prefs unset", "Remove one preference\n"
                          "Usage: quenmark prefs unset [OPTIONS] KEY\n" +
                              oneKey +
                              "A preference that is not set is no error.\n"
                              "\n"
                              "Example:\n"
                              "  quenmark prefs unset userIdKey\n");
}

TEST_F(TheWholeHelp, OfWatch) {
    expect("watch",
           "Follow items as they arrive, with progress\n"
           "Usage: quenmark watch [OPTIONS]\n"
           "\n"
           "Options:\n"
           "  -h,--help                   Print this help message and exit\n"
           "  --json                      Print a JSON object for each event, one a line\n"
           "\n"
           "Prints the path of each file and folder that comes into the Quenmark folder, a folder's with \"/\" at its\n"
           "end. On a terminal, standard error shows what the service is doing: how much of which item has been\n"
           "received, at what rate, and how long the rest takes. Never launches the service, and waits for one that\n"
           "does not run. Ends with 0 on SIGINT (Ctrl-C), with 69 where there is no session bus, and with 78 where\n"
           "quenmarkPathKey is not set.\n"
           "\n"
           "The events of --json are \"arrived\" (path, isFolder), \"progress\" (engine, item, bytes, total,\n"
           "bytesPerSecond, secondsLeft; what is not known is left out), \"state\" (engine, state, reason, item),\n"
           "\"lost\" (engine, item, reason, items) and \"service\" (running).\n"
           "\n"
           "Examples:\n"
           "  quenmark watch | while read -r path; do echo \"new: $path\"; done\n"
           "  quenmark watch --json | jq 'select(.event == \"arrived\").path'\n");
}

TEST_F(TheWholeHelp, OfPush) {
    expect("push",
           "Queue a file or folder for a computer at a development web service\n"
           "Usage: quenmark push [OPTIONS] FILE\n"
           "\n"
           "Positionals:\n"
           "  FILE REQUIRED               A file, or a folder with all that is in it\n"
           "\n"
           "Options:\n"
           "  -h,--help                   Print this help message and exit\n"
           "  --to COMPUTER               The computer's identifier (this computer's)\n"
           "  --as NAME                   The item's name there, with \"\\\" between its parts (the file's own name)\n"
           "  --server HOST[:PORT]        The web service (the one of the deployment settings)\n"
           "\n"
           "Prints the name of each item as it is queued; on a terminal, standard error shows the progress. What a\n"
           "folder holds that cannot be sent is left out and named on standard error: symbolic links, what cannot\n"
           "be read, and names that no item can have. Ends with 65 where something was left out, 66 where FILE is\n"
           "not there, 69 where the server cannot be reached, 76 where it refuses, 78 where no computer is known.\n"
           "\n"
           "Example:\n"
           "  quenmark push a.txt --to 17 --as '\\Docs\\a.txt'\n");
}

TEST_F(TheWholeHelp, OfOperations) {
    expect("operations",
           "List the operations of the web service\n"
           "Usage: quenmark operations [OPTIONS]\n"
           "\n"
           "Options:\n"
           "  -h,--help                   Print this help message and exit\n"
           "  --json                      Print a JSON array\n"
           "\n"
           "For each operation: its name, its path below the service root, how it is carried out, the keys of\n"
           "its request and the properties of its response.\n"
           "\n"
           "Example:\n"
           "  quenmark operations --json | jq -r '.[].name'\n");
}

TEST_F(TheWholeHelp, OfCall) {
    expect(
        "call",
        "Carry out an operation of the web service and print its response\n"
        "Usage: quenmark call [OPTIONS] OPERATION [PAIR...]\n"
        "\n"
        "Positionals:\n"
        "  OPERATION REQUIRED          The operation\n"
        "  PAIR Key=value ... Excludes: --json\n"
        "                              A field of the request\n"
        "\n"
        "Options:\n"
        "  -h,--help                   Print this help message and exit\n"
        "  --json FILE Excludes: PAIR  The whole request as JSON, from a file or, as \"-\", from standard input\n"
        "  --file PATH                 The file that an upload sends, in the place of FilePath; no blanks in its path\n"
        "  --output FILE               Where the response goes (standard output)\n"
        "  --timeout SECONDS           How long to wait for a response (90)\n"
        "  --wire                      Print the response under the keys that it has on the wire\n"
        "  --headers                   Print a stream's header fields on standard error\n"
        "  --fail                      End with 76 where \"ReturnStatus\" is not \"0\"\n"
        "  --verbose                   Write the library's log to standard error, passwords as ***\n"
        "\n"
        "OPERATION is a name from `quenmark operations`, also without \"async\" and in any case of letters. Key is a "
        "key\n"
        "of its request, spelled exactly; a key that is not given is not sent. The response is printed as JSON under "
        "the\n"
        "names of its properties: a record as an object, a list as an array, a bare status as a value or null. A "
        "stream\n"
        "is written as it comes; --output makes no file where nothing came. A response is held in memory, of which it "
        "may\n"
        "take 64 MiB.\n"
        "\n"
        "A body of --json is an object with the operation's keys; for asyncSyncFilesInTableAndCloud an array of such\n"
        "objects, for which Key=value gives a list of one. Requests carry texts: a whole number stands for its "
        "digits,\n"
        "true and false for \"True\" and \"False\", and null for a key that is not sent.\n"
        "\n"
        "Examples:\n"
        "  quenmark call GetTopFileUpload ToComputerID=17\n"
        "  quenmark call asyncSyncFilesInTableAndCloud --json - < changes.json\n"
        "  quenmark call GetTopFileUploadWithStream ToComputerID=17 --output item.bin\n"
        "  quenmark call UpdateFileRequestWithStream FileRequestID=3 'TransitDownloadPath=t\\3' --file report.pdf\n"
        "\n");
}

} // namespace ToolTest
