#include "Tools/Output.h"

#include "Platform/Json.h"
#include "Platform/StandardStreams.h"
#include "Tools/Failure.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <variant>

namespace Tools {

namespace StandardStreams = Platform::StandardStreams;

namespace {

constexpr const char* eraseLine = "\r\x1b[K";

} // namespace

void print(std::string_view bytes) {
    const auto error = StandardStreams::writeOutput(bytes);
    // A reader that has seen enough, such as head(1), is nothing to tell people of.
    if (error)
        throw Failure(ExitStatus::InputOutput, error->code == EPIPE ? "" : error->localizedDescription);
}

void complain(std::string_view line) {
    StandardStreams::writeError("quenmark: " + printable(line) + "\n");
}

std::string prettyJson(const boost::json::value& value) {
    auto written = Platform::Json::prettyPrinted(value);
    if (const auto* error = std::get_if<Platform::Error>(&written))
        throw Failure(ExitStatus::DataError, error->localizedDescription);
    return std::get<std::string>(std::move(written)) + "\n";
}

std::string printable(std::string_view text) {
    std::string result;
    for (const char character : text) {
        const auto byte = static_cast<unsigned char>(character);
        if (byte >= 0x20 && byte != 0x7f) {
            result += character;
            continue;
        }
        std::array<char, 5> escaped{};
        std::snprintf(escaped.data(), escaped.size(), "\\x%02X", byte);
        result += escaped.data();
    }
    return result;
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

ProgressLine::ProgressLine() : visible_(StandardStreams::errorIsTerminal()) {}

ProgressLine::~ProgressLine() {
    clear();
}

void ProgressLine::show(std::string_view text) {
    if (!visible_)
        return;
    std::string line = printable(text);
    // A line that reaches the right edge would go on in the next one. Bytes are at least as many as columns.
    const std::size_t columns = StandardStreams::errorColumns() - 1;
    if (line.size() > columns) {
        std::size_t end = columns;
        while (end > 0 && (static_cast<unsigned char>(line[end]) & 0xc0U) == 0x80U)
            --end;
        line.resize(end);
    }
    StandardStreams::writeError(eraseLine + line);
    shown_ = true;
}

void ProgressLine::clear() {
    if (shown_)
        StandardStreams::writeError(eraseLine);
    shown_ = false;
}

} // namespace Tools
