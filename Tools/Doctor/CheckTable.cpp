#include "Tools/Doctor/CheckTable.h"

#include "Tools/WrappedText.h"

#include <boost/json/object.hpp>

#include <algorithm>
#include <string_view>

namespace Tools {

namespace {

constexpr std::size_t markWidth = 9;
/// No name of a check is longer.
constexpr std::size_t nameWidth = 24;
/// A narrower terminal wraps the lines itself.
constexpr std::size_t narrowestText = 20;

std::string_view nameOf(CheckState state) {
    switch (state) {
    case CheckState::Ok:
        return "ok";
    case CheckState::Warning:
        return "warning";
    case CheckState::Failure:
        break;
    }
    return "failure";
}

std::string_view colourOf(CheckState state) {
    switch (state) {
    case CheckState::Ok:
        return "\x1b[32m";
    case CheckState::Warning:
        return "\x1b[33m";
    case CheckState::Failure:
        break;
    }
    return "\x1b[31m";
}

std::string padded(std::string_view text, std::size_t width) {
    return std::string(text) + std::string(width - std::min(text.size(), width - 1), ' ');
}

std::string mark(CheckState state, bool hasColours) {
    const auto text = padded(nameOf(state), markWidth);
    return hasColours ? std::string(colourOf(state)) + text + "\x1b[0m" : text;
}

std::string counted(const std::vector<Check>& checks, CheckState state) {
    const auto count = std::ranges::count(checks, state, &Check::state);
    return std::to_string(count) + " " + std::string(nameOf(state)) + (count == 1 ? "" : "s");
}

} // namespace

std::string checkTable(const std::vector<Check>& checks, bool hasColours, std::optional<std::size_t> columns) {
    constexpr std::size_t indent = markWidth + nameWidth;
    const std::size_t width = columns ? std::max(*columns, indent + narrowestText + 1) - indent - 1 : unlimitedWidth;
    std::string result;
    for (const auto& check : checks) {
        std::string start = mark(check.state, hasColours) + padded(check.check, nameWidth);
        const std::string text = check.detail + (check.advice.empty() ? "" : ". " + check.advice);
        for (const auto& piece : wrapped(text, width)) {
            result += start + std::string(piece) + "\n";
            start = std::string(indent, ' ');
        }
    }
    return result + counted(checks, CheckState::Failure) + ", " + counted(checks, CheckState::Warning) + "\n";
}

boost::json::array checksJson(const std::vector<Check>& checks) {
    boost::json::array array;
    for (const auto& check : checks)
        array.push_back(boost::json::object{{"check", check.check},
                                            {"state", nameOf(check.state)},
                                            {"detail", check.detail},
                                            {"advice", check.advice}});
    return array;
}

} // namespace Tools
