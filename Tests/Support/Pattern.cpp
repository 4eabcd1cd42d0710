#include "Support/Pattern.h"

#include <regex>

namespace TestSupport {

struct Pattern::Compiled {
    std::regex expression;
};

Pattern::Pattern(const std::string& expression)
    : compiled_(std::make_unique<const Compiled>(Compiled{std::regex(expression)})) {}
Pattern::~Pattern() = default;

bool Pattern::isFoundIn(const std::string& text) const {
    return std::regex_search(text, compiled_->expression);
}

std::optional<std::vector<std::string>> Pattern::groups(const std::string& text) const {
    std::smatch match;
    if (!std::regex_match(text, match, compiled_->expression))
        return std::nullopt;
    std::vector<std::string> groups;
    for (std::size_t index = 1; index < match.size(); ++index)
        groups.push_back(match[index].str());
    return groups;
}

} // namespace TestSupport
