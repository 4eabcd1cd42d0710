#include "Platform/Files/Files.h"
#include "Platform/JournalReader.h"
#include "Platform/Loop/RunLoop.h"
#include "Platform/Settings/Preferences.h"
#include "Platform/Settings/SettingsFile.h"
#include "Platform/SystemVersions.h"
#include "Tools/Bundle/Bundle.h"
#include "Tools/CallLog.h"
#include "Tools/Doctor/Doctor.h"
#include "Tools/Output.h"
#include "Tools/SharedPreferences.h"
#include "Tools/Status/StatusJson.h"
#include "Tools/Verbs.h"
#include "Tools/Version.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <chrono>
#include <memory>
#include <string>
#include <utility>
#include <variant>

namespace Tools {

namespace {

constexpr const char* serviceProgram = "TopFileUploadXpcService";

/// A file's settings; none where it cannot be read, which is what the doctor's check is about.
boost::json::object settingsIn(const std::string& path) {
    auto read = Platform::SettingsFile::read(path);
    auto* values = std::get_if<0>(&read);
    return values == nullptr ? boost::json::object() : std::move(*values).value_or(boost::json::object());
}

std::variant<std::vector<std::string>, std::string> serviceLog() {
    const auto read = Platform::Journal::lastEntries(serviceProgram, maxLogLines);
    if (const auto* error = std::get_if<Platform::Error>(&read))
        return error->code == ENOENT ? "this machine has no journal that this user can read"
                                     : error->localizedDescription;
    std::vector<std::string> entries;
    for (const auto& entry : std::get<0>(read))
        entries.push_back(isoTime({entry.time}) + " <" + entry.priority + "> " + entry.message);
    return entries;
}

BundleParts gather() {
    Platform::RunLoop loop;
    const CallLog quiet(false);
    auto examined = examine(loop);
    BundleParts parts;
    parts.checks = std::move(examined.checks);
    parts.status = std::move(examined.status);
    parts.settings = {settingsIn(Platform::Preferences::pathOfDomain(sharedDomain)),
                      settingsIn(Platform::Preferences::pathOfDomain(serviceProgram)),
                      settingsIn(examined.deploymentFile)};
    parts.versions = Platform::systemVersions();
    parts.versions.insert(parts.versions.begin(), {"quenmark", version()});
    parts.log = serviceLog();
    return parts;
}

ExitStatus makeBundle(const std::string& path) {
    // Before anything is gathered, which takes a while.
    if (Platform::Files::exists(path))
        throw Failure(ExitStatus::CannotCreate, path + " exists already; name another file");
    const auto parts = gather();
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    const auto archive =
        tarGzip(bundleFiles(parts, redactorFor(parts)), std::chrono::duration_cast<std::chrono::seconds>(now).count());
    if (const auto error = Platform::Files::createAtomically(path, archive)) {
        const bool isFull = error->code == ENOSPC || error->code == EIO || error->code == EDQUOT;
        throw Failure(isFull ? ExitStatus::InputOutput : ExitStatus::CannotCreate, error->localizedDescription);
    }
    printMessage(path + " is written (" + byteCount(archive.size()) + "); look into it before you send it: tar -xzf " +
                 path);
    return ExitStatus::Success;
}

} // namespace

void addBundle(CLI::App& program, Action& action) {
    auto& verb = *program.add_subcommand("bundle", "Gather what a support request needs");
    const auto path = std::make_shared<std::string>();
    verb.add_option("FILE", *path, "The archive to make (.tar.gz)")->required();
    verb.footer(
        "Writes the doctor's checks, the status, the settings, the versions of this machine's programs and the\n"
        "last 2,000 lines of the service's log in the journal into an archive that only you can read. It has no\n"
        "identifiers, user names, mail addresses, passwords, tokens and names of items; paths in the home\n"
        "directory begin with \"~\". Hosts stay. Ends with 73 where the file exists already or cannot be made,\n"
        "and with 74 where it cannot be written; what the checks find makes no difference.\n\n"
        "Example:\n  quenmark bundle quenmark.tar.gz");
    verb.callback([&action, path] { action = [path] { return makeBundle(*path); }; });
}

} // namespace Tools
