#pragma once

#include "Tools/Status/ServiceStatus.h"
#include "Tools/Status/TransferRates.h"

#include <optional>
#include <string>
#include <vector>

namespace Tools {

/// What there is to show: the status, nil for a service that does not run, and when it was read.
struct StatusReading {
    std::optional<ServiceStatus> status;
    Moment time;
    TransferRates rates;
};

/// A line of the screen: a label and what it says.
struct ScreenLine {
    enum class Tone { Plain, Good, Bad };

    std::string label;
    std::string text;
    Tone tone = Tone::Plain;

    bool operator==(const ScreenLine&) const = default;
};

/// A length of time as people read it, its two largest units: "5 s", "2 min 5 s", "3 d 4 h".
std::string timeSpan(std::uint64_t seconds);

/// The screen that a person reads at a glance. It contains no control characters.
std::vector<ScreenLine> screenLines(const StatusReading& reading);
/// The text of a screen. Where the terminal's columns are given, no line reaches the last of them: what a line says
/// goes on in lines below, which begin at a blank where there is one.
std::string screenText(const std::vector<ScreenLine>& lines, bool hasColours, std::optional<std::size_t> columns);

/// The status in one line, for a log of changes.
std::string statusLine(const StatusReading& reading);

/// What the engines that are not idle are doing, in one line; empty where none is at work or has a problem.
std::string activityLine(const StatusReading& reading);

} // namespace Tools
