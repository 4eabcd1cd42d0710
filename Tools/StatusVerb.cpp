#include "Platform/StandardStreams.h"
#include "Platform/Terminal.h"
#include "Tools/Output.h"
#include "Tools/Status/StatusJson.h"
#include "Tools/Status/StatusText.h"
#include "Tools/Status/StatusView.h"
#include "Tools/Verbs.h"

#include <CLI/CLI.hpp>

#include <memory>
#include <optional>

namespace Tools {

namespace Terminal = Platform::Terminal;

namespace {

struct StatusArguments {
    bool asJson = false;
    bool follows = false;
};

std::optional<std::size_t> columnsOfOutput() {
    if (!Platform::StandardStreams::outputIsTerminal())
        return std::nullopt;
    return Terminal::outputSize().columns;
}

/// A screen on a terminal that takes escape sequences, which each drawing replaces.
class Screen {
public:
    void draw(std::string_view text) {
        // More lines would scroll, and what has left the screen cannot be replaced.
        std::size_t lines = 0;
        std::size_t end = 0;
        for (; lines + 1 < Terminal::outputSize().rows && end < text.size(); ++lines)
            end = text.find('\n', end) + 1;
        const std::string up = height_ == 0 ? "" : "\x1b[" + std::to_string(height_) + "A";
        print(up + "\r\x1b[J" + std::string(text.substr(0, end)));
        height_ = lines;
    }

private:
    std::size_t height_ = 0;
};

std::string screenOf(const StatusReading& reading) {
    return screenText(screenLines(reading), Terminal::outputTakesColours(), columnsOfOutput());
}

/// Shows the status once.
class OneShotView final : public StatusView {
public:
    explicit OneShotView(bool asJson) : asJson_(asJson) {}

private:
    void show() override {
        const auto& reading = readingNow();
        // A download's rate needs two samples.
        if (!asJson_ && !hasSecondSample_ && isDownloading(reading.status)) {
            if (!second_.isScheduled())
                second_ = Platform::Queue::main().timer(interval, [this] {
                    hasSecondSample_ = true;
                    readAgain();
                });
            return;
        }
        print(asJson_ ? prettyJson(statusJson(reading.status)) : screenOf(reading));
        end(reading.status ? exitStatusOf(*reading.status) : ExitStatus::Unavailable);
    }

    const bool asJson_;
    bool hasSecondSample_ = false;
    Platform::Timer second_;
};

/// Shows the status at each change until SIGINT or SIGTERM: as a screen that is redrawn, or a line each.
class Follower final : public LastingView {
public:
    explicit Follower(bool asJson) : asJson_(asJson), redraws_(!asJson && Terminal::outputTakesEscapes()) {}

private:
    void show() override {
        if (redraws_)
            return draw();
        const auto& reading = readingNow();
        std::string line = asJson_ ? jsonLine(statusJson(reading.status)) : statusLine(reading) + "\n";
        if (line == last_)
            return;
        print(line);
        last_ = std::move(line);
    }

    void draw() {
        screen_.draw(screenOf(readingNow()));
        // Redraw elapsed times; re-read during downloads, so that a stalled one's rate drops.
        next_ = Platform::Queue::main().timer(interval, [this] {
            guarded([this] { draw(); });
            if (isDownloading(readingNow().status))
                readAgain();
        });
    }

    const bool asJson_;
    const bool redraws_;
    std::string last_;
    Screen screen_;
    Platform::Timer next_;
};

} // namespace

void addStatus(CLI::App& program, Action& action) {
    auto& verb = *program.add_subcommand("status", "Show what the service is doing");
    const auto arguments = std::make_shared<StatusArguments>();
    verb.add_flag("--json", arguments->asJson, "Print a JSON object; with --follow one a line");
    verb.add_flag("--follow", arguments->follows, "Go on at each change, until SIGINT (Ctrl-C)");
    verb.footer(
        "Never launches the service; --follow waits for one that does not run. On a terminal --follow redraws\n"
        "the screen, elsewhere it prints a line for each change, and it ends with 0.\n\n"
        "Ends with 0 where an engine has been started and none has a problem, with 69 where the service does\n"
        "not run, 75 where an engine is stalled, retrying, blocked or offline or none has been started, and 78\n"
        "where one is not configured; with 70 where the service's answer is no status.\n\n"
        "Examples:\n  quenmark status\n  quenmark status --json | jq -r '.engines[].state'");
    verb.callback([&action, arguments] {
        action = [arguments] {
            return arguments->follows ? Follower(arguments->asJson).run() : OneShotView(arguments->asJson).run();
        };
    });
}

} // namespace Tools
