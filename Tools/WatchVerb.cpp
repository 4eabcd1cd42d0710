#include "Platform/Files/FileWatcher.h"
#include "Platform/Printable.h"
#include "Platform/Utf8.h"
#include "Tools/Output.h"
#include "Tools/RequiredSettings.h"
#include "Tools/Status/Advice.h"
#include "Tools/Status/StatusView.h"
#include "Tools/Status/WatchEvents.h"
#include "Tools/Verbs.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <optional>
#include <string>

namespace Tools {

using Platform::FileEvent;

namespace {

/// A path as JSON takes it, which is UTF-8 (RFC 8259, section 8.1).
std::string pathInJson(const std::string& path) {
    return Platform::firstInvalidUtf8(path) == std::string::npos ? path : Platform::printable(path);
}

/// Prints items that arrive in a folder, and shows what the service is doing: items are seen in the folder, since the
/// service announces its changes at most four times a second and names the last item alone.
class Watch final : public LastingView {
public:
    Watch(const std::string& folder, bool asJson)
        : asJson_(asJson), arrivals_(folder, [this](const FileEvent& event) { guarded([&] { placed(event); }); }) {}

private:
    void placed(const FileEvent& event) {
        if (event.kind == FileEvent::Kind::Missed)
            printMessage("some items under " + event.path + " may have arrived unseen");
        if (event.kind != FileEvent::Kind::Arrived)
            return;
        progress_.clear();
        if (asJson_)
            print(jsonLine(boost::json::object{
                {"event", "arrived"}, {"path", pathInJson(event.path)}, {"isFolder", event.isDirectory}}));
        else
            print(Platform::printable(event.path) + (event.isDirectory ? "/\n" : "\n"));
    }

    void show() override {
        const auto& reading = readingNow();
        if (asJson_)
            printEvents(reading);
        else
            showProgress(reading);
        before_ = reading.status;
        hasRun_ = reading.status.has_value();
        if (isDownloading(reading.status))
            next_ = Platform::Queue::main().timer(interval, [this] { readAgain(); });
    }

    void printEvents(const StatusReading& reading) {
        const bool runs = reading.status.has_value();
        if (hasRun_ != runs)
            print(jsonLine(boost::json::object{{"event", "service"}, {"running", runs}}));
        for (const auto& event : eventsSince(before_, reading))
            print(jsonLine(event));
    }

    void showProgress(const StatusReading& reading) {
        for (const auto& engine : enginesThatLost(before_, reading)) {
            progress_.clear();
            printMessage(adviceOnLostItems(engine).value_or(""));
        }
        progress_.show(activityLine(reading));
    }

    const bool asJson_;
    ProgressLine progress_;
    /// The reading before, and whether the service ran then; nil before the first one.
    std::optional<ServiceStatus> before_;
    std::optional<bool> hasRun_;
    Platform::Timer next_;
    Platform::FileWatcher arrivals_;
};

} // namespace

void addWatch(CLI::App& program, Action& action) {
    auto& verb = *program.add_subcommand("watch", "Follow items as they arrive, with progress");
    const auto asJson = std::make_shared<bool>(false);
    verb.add_flag("--json", *asJson, "Print a JSON object for each event, one a line");
    verb.footer(
        "Prints the path of each file and folder that comes into the Quenmark folder, a folder's with \"/\" at its\n"
        "end. On a terminal, standard error shows what the service is doing: how much of which item has been\n"
        "received, at what rate, and how long the rest takes. Never launches the service, and waits for one that\n"
        "does not run. Ends with 0 on SIGINT (Ctrl-C), with 69 where there is no session bus, and with 78 where\n"
        "quenmarkPathKey is not set.\n\n"
        "The events of --json are \"arrived\" (path, isFolder), \"progress\" (engine, item, bytes, total,\n"
        "bytesPerSecond, secondsLeft; what is not known is left out), \"state\" (engine, state, reason, item),\n"
        "\"lost\" (engine, item, reason, items) and \"service\" (running).\n\n"
        "Examples:\n"
        "  quenmark watch | while read -r path; do echo \"new: $path\"; done\n"
        "  quenmark watch --json | jq 'select(.event == \"arrived\").path'");
    verb.callback([&action, asJson] { action = [asJson] { return Watch(requireQuenmarkPath(), *asJson).run(); }; });
}

} // namespace Tools
