#include "Tools/Output.h"

#include "Platform/Json.h"
#include "Platform/Printable.h"
#include "Platform/StandardStreams.h"
#include "Platform/Terminal.h"
#include "Tools/Failure.h"

#include <boost/json/serialize.hpp>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <utility>
#include <variant>

namespace Tools {

namespace StandardStreams = Platform::StandardStreams;

namespace {

/// How many bytes a control character or line separator at the start of a JSON text has in UTF-8, and its escape; no
/// bytes where there is none. JSON itself escapes those below the blank.
std::pair<std::size_t, std::string> escapedControl(std::string_view text) {
    if (text.starts_with('\x7F'))
        return {1, "\\u007f"};
    if (text.starts_with("\u2028"))
        return {3, "\\u2028"};
    if (text.starts_with("\u2029"))
        return {3, "\\u2029"};
    if (!text.starts_with('\xC2') || static_cast<unsigned char>(text[1]) >= 0xA0)
        return {0, ""};
    std::array<char, 7> escape{};
    std::snprintf(escape.data(), escape.size(), "\\u%04x", static_cast<unsigned char>(text[1]));
    return {2, escape.data()};
}

std::string withEscapedControls(std::string_view json) {
    std::string result;
    while (!json.empty()) {
        const auto [length, escape] = escapedControl(json);
        result += length == 0 ? std::string(1, json.front()) : escape;
        json.remove_prefix(std::max<std::size_t>(length, 1));
    }
    return result;
}

} // namespace

void print(std::string_view bytes) {
    const auto error = StandardStreams::writeOutput(bytes);
    // A reader that has ended, such as head(1), is not reported.
    if (error)
        throw Failure(ExitStatus::InputOutput, error->code == EPIPE ? "" : error->localizedDescription);
}

void printLine(std::string_view value) {
    print((StandardStreams::outputIsTerminal() ? Platform::printable(value) : std::string(value)) + "\n");
}

void printMessage(std::string_view line) {
    StandardStreams::writeError("quenmark: " + Platform::printable(line) + "\n");
}

std::string prettyJson(const boost::json::value& value) {
    auto written = Platform::Json::prettyPrinted(value);
    if (const auto* error = std::get_if<Platform::Error>(&written))
        throw Failure(ExitStatus::DataError, error->localizedDescription);
    auto json = std::get<std::string>(std::move(written)) + "\n";
    return StandardStreams::outputIsTerminal() ? withEscapedControls(json) : json;
}

std::string jsonLine(const boost::json::value& value) {
    const auto json = boost::json::serialize(value) + "\n";
    return StandardStreams::outputIsTerminal() ? withEscapedControls(json) : json;
}

std::string_view beginning(std::string_view text, std::size_t bytes) {
    if (text.size() <= bytes)
        return text;
    while (bytes > 0 && (static_cast<unsigned char>(text[bytes]) & 0xc0U) == 0x80U)
        --bytes;
    return text.substr(0, bytes);
}

std::string byteCount(std::uint64_t bytes) {
    constexpr std::array units{"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    if (bytes < 1024)
        return std::to_string(bytes) + " B";
    double amount = static_cast<double>(bytes) / 1024;
    std::size_t unit = 0;
    for (; amount >= 1024 && unit + 1 < units.size(); ++unit)
        amount /= 1024;
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.1f %s", amount, units.at(unit));
    return text.data();
}

std::string shareOf(std::uint64_t bytes, std::uint64_t total) {
    const double share = total == 0 ? 100 : static_cast<double>(bytes) * 100 / static_cast<double>(total);
    return std::to_string(static_cast<int>(std::min(share, 100.0))) + " % of " + byteCount(total);
}

ProgressLine::ProgressLine() : visible_(Platform::Terminal::errorTakesEscapes()) {}

ProgressLine::~ProgressLine() {
    clear();
}

void ProgressLine::show(std::string_view text) {
    if (!visible_)
        return;
    if (text.empty())
        return clear();
    const std::string line = Platform::printable(text);
    // A line that reaches the right edge would wrap. A text has at least as many bytes as columns.
    const auto start = std::string(beginning(line, StandardStreams::errorColumns() - 1));
    const std::size_t rest = shown_ - std::min(shown_, start.size());
    StandardStreams::writeError("\r" + start + std::string(rest, ' ') + std::string(rest, '\b'));
    shown_ = start.size();
}

void ProgressLine::clear() {
    if (shown_ > 0)
        StandardStreams::writeError("\r" + std::string(shown_, ' ') + "\r");
    shown_ = 0;
}

} // namespace Tools
