#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace TestSupport {

/// A regular expression (ECMAScript, as std::regex reads it). Tests use it instead of <regex>, which takes each file
/// that includes it seconds to compile.
class Pattern {
public:
    explicit Pattern(const std::string& expression);
    Pattern(const Pattern&) = delete;
    Pattern& operator=(const Pattern&) = delete;
    ~Pattern();

    /// Whether the whole text matches.
    bool matches(const std::string& text) const { return groups(text).has_value(); }
    /// Whether a part of the text matches.
    bool isFoundIn(const std::string& text) const;
    /// What each group of a match of the whole text holds, in order, "" for one that took no part; nil without a match.
    std::optional<std::vector<std::string>> groups(const std::string& text) const;

private:
    struct Compiled;
    std::unique_ptr<const Compiled> compiled_;
};

} // namespace TestSupport
