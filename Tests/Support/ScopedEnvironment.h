#pragma once

#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace TestSupport {

/// Sets variables of the process's environment, or unsets those that are given as nil, while it lives; then they are
/// as they were.
class ScopedEnvironment {
public:
    using Variable = std::pair<std::string, std::optional<std::string>>;

    ScopedEnvironment() = default;
    ScopedEnvironment(std::initializer_list<Variable> variables);
    ScopedEnvironment(const ScopedEnvironment&) = delete;
    ScopedEnvironment& operator=(const ScopedEnvironment&) = delete;
    ~ScopedEnvironment();

    void set(const std::string& name, const std::optional<std::string>& value);

private:
    std::vector<Variable> before_;
};

} // namespace TestSupport
