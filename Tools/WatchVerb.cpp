#include "Platform/Files/FileWatcher.h"
#include "Platform/Files/Files.h"
#include "Platform/Loop/RunLoop.h"
#include "Platform/Loop/Signals.h"
#include "Platform/Printable.h"
#include "Platform/Settings/Environment.h"
#include "Platform/Settings/Preferences.h"
#include "Platform/Text.h"
#include "Tools/Output.h"
#include "Tools/SharedPreferences.h"
#include "Tools/Verbs.h"

#include <CLI/CLI.hpp>

#include <csignal>

namespace Tools {

using Platform::FileEvent;
using Platform::FileWatcher;

namespace {

constexpr auto progressInterval = std::chrono::milliseconds(100);

/// The folder that items are placed in.
std::string quenmarkFolder() {
    const auto path = Platform::Preferences::objectForKey(sharedDomain, quenmarkPathKey);
    if (!path)
        throw Failure(ExitStatus::Configuration,
                      "quenmarkPathKey is not set; set it with: quenmark prefs set quenmarkPathKey FOLDER");
    std::string folder = Platform::text(*path) + "/" + quenmarkFolderName;
    if (!folder.starts_with('/'))
        throw Failure(ExitStatus::Configuration, "quenmarkPathKey is not an absolute path");
    return folder;
}

/// Where items lie while they are received.
std::string temporaryFolder() {
    return Platform::Environment::temporaryDirectory() + "QuenmarkTemp";
}

/// Prints items that have arrived, and the progress of those that are being received.
class Watch {
public:
    explicit Watch(const std::string& folder)
        : interrupt_(SIGINT, [this] { loop_.stop(0); }), termination_(SIGTERM, [this] { loop_.stop(0); }),
          arrivals_(folder, [this](const FileEvent& event) { placed(event); }) {
        if (progress_.isVisible())
            incoming_.emplace(temporaryFolder(), [this](const FileEvent& event) { received(event); });
    }

    void run() {
        loop_.run();
        if (failure_)
            throw Failure(*failure_);
    }

private:
    void placed(const FileEvent& event) {
        try {
            if (event.kind == FileEvent::Kind::Missed)
                complain("some items under " + event.path + " may have arrived unseen");
            if (event.kind != FileEvent::Kind::Arrived)
                return;
            progress_.clear();
            print(Platform::printable(event.path) + (event.isDirectory ? "/\n" : "\n"));
        } catch (const Failure& failure) {
            failure_ = failure;
            loop_.stop(0);
        }
    }

    void received(const FileEvent& event) {
        if (event.isDirectory)
            return;
        if (event.kind == FileEvent::Kind::Left) {
            if (event.path == growing_)
                timer_.cancel();
            return progress_.clear();
        }
        growing_ = event.path;
        if (!timer_.isScheduled())
            timer_ = Platform::Queue::main().timer(progressInterval, [this] { showProgress(); });
    }

    void showProgress() {
        if (const auto size = Platform::Files::size(growing_))
            progress_.show(Platform::Files::lastPathComponent(growing_) + " " + byteCount(*size));
    }

    Platform::RunLoop loop_;
    ProgressLine progress_;
    std::optional<Failure> failure_;
    std::string growing_;
    Platform::Timer timer_;
    Platform::SignalWatch interrupt_;
    Platform::SignalWatch termination_;
    FileWatcher arrivals_;
    std::optional<FileWatcher> incoming_;
};

} // namespace

void addWatch(CLI::App& program, Action& action) {
    auto& verb = *program.add_subcommand("watch", "Follow items as they arrive, with progress");
    verb.footer("Prints the path of each file and folder that comes into the Quenmark folder, a folder's with \"/\"\n"
                "at its end. On a terminal, standard error shows how much of an item has been received so far. Ends\n"
                "with 0 on SIGINT (Ctrl-C), and with 78 where quenmarkPathKey is not set.\n\n"
                "Example:\n  quenmark watch | while read -r path; do echo \"new: $path\"; done");
    verb.callback([&action] {
        action = [] {
            Watch(quenmarkFolder()).run();
            return ExitStatus::Success;
        };
    });
}

} // namespace Tools
