#pragma once

#include "Tools/Doctor/Check.h"

#include <string>
#include <vector>

namespace ToolTest {

/// Checks as texts of four parts, one a line: state|check|detail|advice.
inline std::string textOf(const std::vector<Tools::Check>& checks) {
    std::string text;
    for (const auto& check : checks) {
        const char* state = check.state == Tools::CheckState::Ok        ? "ok"
                            : check.state == Tools::CheckState::Warning ? "warning"
                                                                        : "failure";
        text += std::string(state) + "|" + check.check + "|" + check.detail + "|" + check.advice + "\n";
    }
    return text;
}

} // namespace ToolTest
