#include "Tools/Status/StatusText.h"

#include "Tools/Output.h"
#include "Tools/Status/Advice.h"
#include "Tools/WrappedText.h"

#include <algorithm>
#include <array>
#include <utility>

namespace Tools {

namespace {

using Tone = ScreenLine::Tone;

/// No label is longer, but for the number of an engine.
constexpr std::size_t labelWidth = 15;
/// A narrower terminal wraps the lines itself.
constexpr std::size_t narrowestText = 20;
/// How many engines are shown; the others are counted.
constexpr std::size_t maxEngines = 5;

std::uint64_t secondsBetween(const Moment& earlier, const Moment& later) {
    if (later <= earlier)
        return 0;
    // As unsigned numbers, whose difference cannot overflow.
    const auto difference =
        static_cast<std::uint64_t>(later.microseconds) - static_cast<std::uint64_t>(earlier.microseconds);
    return difference / 1'000'000;
}

std::string counted(std::uint64_t count, const std::string& one) {
    return std::to_string(count) + " " + one + (count == 1 ? "" : "s");
}

std::string received(const ServiceStatus& status) {
    return counted(status.itemsReceived, "item") + ", " + byteCount(status.bytesReceived);
}

/// How much of the current item has arrived: "45 % of 3.0 GiB".
std::string progress(const EngineStatus& engine) {
    return engine.total ? shareOf(engine.bytes, *engine.total) : byteCount(engine.bytes);
}

std::string progressWithRate(const EngineStatus& engine, const TransferRates& rates) {
    std::string text = progress(engine);
    const auto rate = rates.bytesPerSecond(engine);
    if (!rate)
        return text;
    text += ", " + byteCount(*rate) + "/s";
    if (const auto left = rates.secondsLeft(engine))
        text += ", " + timeSpan(*left) + " left";
    return text;
}

Tone toneOf(const EngineStatus& engine) {
    switch (conditionOf(engine)) {
    case Condition::Idle:
    case Condition::Working:
        return Tone::Good;
    case Condition::NotStarted:
    case Condition::Failing:
    case Condition::Unconfigured:
        break;
    }
    return Tone::Bad;
}

/// The engines to show, those with a problem first, then those at work.
std::vector<const EngineStatus*> byImportance(const std::vector<EngineStatus>& engines) {
    constexpr std::array order{Condition::Unconfigured, Condition::Failing, Condition::Working, Condition::Idle,
                               Condition::NotStarted};
    std::vector<const EngineStatus*> sorted;
    for (const auto& engine : engines)
        sorted.push_back(&engine);
    std::ranges::stable_sort(sorted, {}, [&](const EngineStatus* engine) {
        return std::ranges::find(order, conditionOf(*engine)) - order.begin();
    });
    return sorted;
}

void addEngine(std::vector<ScreenLine>& lines, const EngineStatus& engine, const StatusReading& reading, bool isOnly) {
    const auto ago = [&](const Moment& moment) { return timeSpan(secondsBetween(moment, reading.time)) + " ago"; };
    std::string state = shown(engine.state) + " for " + timeSpan(secondsBetween(engine.since, reading.time));
    if (!isOnly && !engine.peer.empty())
        state += ", of " + shown(engine.peer);
    lines.push_back({isOnly ? "state" : "engine " + std::to_string(engine.id), state, toneOf(engine)});
    if (const auto advice = adviceOn(engine, reading.status->serviceRoot))
        lines.push_back({"what to do", *advice});
    if (const auto advice = adviceOnLostItems(engine))
        lines.push_back({"lost", *advice, Tone::Bad});
    if (!engine.item.empty()) {
        lines.push_back({"item", shown(engine.item)});
        lines.push_back({"progress", progressWithRate(engine, reading.rates)});
    }
    if (engine.lastItem)
        lines.push_back({"last item", shown(*engine.lastItem) +
                                          (engine.lastItemTime ? ", " + ago(*engine.lastItemTime) : std::string())});
    if (engine.lastResponse)
        lines.push_back({"last response", ago(*engine.lastResponse)});
}

void addService(std::vector<ScreenLine>& lines, const StatusReading& reading) {
    const auto& status = *reading.status;
    lines.push_back({"received", received(status)});
    lines.push_back({"service", shown(status.version) + ", " + shown(status.mode) + " mode, running for " +
                                    timeSpan(secondsBetween(status.started, reading.time))});
    lines.push_back({"web service", shown(status.serviceRoot)});
}

std::string_view colourOf(Tone tone) {
    switch (tone) {
    case Tone::Good:
        return "\x1b[32m";
    case Tone::Bad:
        return "\x1b[31m";
    case Tone::Plain:
        break;
    }
    return "";
}

/// One engine in a line.
std::string engineSummary(const EngineStatus& engine) {
    std::string text = shown(engine.state);
    if (!engine.item.empty())
        text += " " + shown(engine.item) + " " + progress(engine);
    if (!engine.reason.empty())
        text += " (" + shown(engine.reason) + ")";
    return text;
}

} // namespace

std::string timeSpan(std::uint64_t seconds) {
    constexpr std::array<std::pair<std::uint64_t, const char*>, 4> units{
        {{86400, " d"}, {3600, " h"}, {60, " min"}, {1, " s"}}};
    for (std::size_t index = 0; index + 1 < units.size(); ++index) {
        const auto [length, name] = units.at(index);
        const auto [nextLength, nextName] = units.at(index + 1);
        if (seconds < length)
            continue;
        const std::uint64_t rest = seconds % length / nextLength;
        return std::to_string(seconds / length) + name +
               (rest == 0 ? std::string() : " " + std::to_string(rest) + nextName);
    }
    return std::to_string(seconds) + " s";
}

std::vector<ScreenLine> screenLines(const StatusReading& reading) {
    if (!reading.status)
        return {{"state", "not running", Tone::Bad}, {"what to do", adviceToStart}};
    const auto engines = byImportance(reading.status->engines);
    std::vector<ScreenLine> lines;
    if (engines.empty())
        lines = {{"state", "no engine started", Tone::Bad}, {"what to do", adviceToStart}};
    for (std::size_t index = 0; index < std::min(engines.size(), maxEngines); ++index)
        addEngine(lines, *engines[index], reading, engines.size() == 1);
    if (engines.size() > maxEngines)
        lines.push_back({"and", counted(engines.size() - maxEngines, "more engine")});
    addService(lines, reading);
    return lines;
}

std::string screenText(const std::vector<ScreenLine>& lines, bool hasColours, std::optional<std::size_t> columns) {
    const std::size_t width =
        columns ? std::max(*columns, labelWidth + narrowestText + 1) - labelWidth - 1 : unlimitedWidth;
    std::string result;
    for (const auto& line : lines) {
        const std::string_view colour = hasColours ? colourOf(line.tone) : "";
        std::string_view label = line.label;
        for (const auto& piece : wrapped(line.text, width)) {
            result += std::string(label) + std::string(labelWidth - std::min(label.size(), labelWidth - 1), ' ');
            result += std::string(colour) + std::string(piece) + (colour.empty() ? "\n" : "\x1b[0m\n");
            label = "";
        }
    }
    return result;
}

std::string statusLine(const StatusReading& reading) {
    if (!reading.status)
        return "not running";
    const auto engines = byImportance(reading.status->engines);
    std::string line = engines.empty() ? "no engine started" : "";
    for (std::size_t index = 0; index < std::min(engines.size(), maxEngines); ++index)
        line += (index == 0 ? "" : "; ") + engineSummary(*engines[index]);
    if (engines.size() > maxEngines)
        line += "; and " + counted(engines.size() - maxEngines, "more engine");
    return line + "; " + received(*reading.status);
}

std::string activityLine(const StatusReading& reading) {
    if (!reading.status)
        return "the service does not run";
    std::string line;
    for (const auto* engine : byImportance(reading.status->engines)) {
        if (conditionOf(*engine) == Condition::Idle)
            continue;
        line += line.empty() ? "" : "; ";
        line += engine->state == "downloading" ? progressWithRate(*engine, reading.rates) + " " + shown(engine->item)
                                               : engineSummary(*engine);
    }
    return line;
}

} // namespace Tools
