#include "Support/ScopedEnvironment.h"

#include <cstdlib>
#include <ranges>

namespace TestSupport {

namespace {

void put(const std::string& name, const std::optional<std::string>& value) {
    if (value)
        ::setenv(name.c_str(), value->c_str(), 1);
    else
        ::unsetenv(name.c_str());
}

} // namespace

ScopedEnvironment::ScopedEnvironment(std::initializer_list<Variable> variables) {
    for (const auto& [name, value] : variables)
        set(name, value);
}

ScopedEnvironment::~ScopedEnvironment() {
    for (const auto& [name, value] : std::views::reverse(before_))
        put(name, value);
}

void ScopedEnvironment::set(const std::string& name, const std::optional<std::string>& value) {
    const char* before = std::getenv(name.c_str());
    before_.emplace_back(name, before == nullptr ? std::nullopt : std::optional<std::string>(before));
    put(name, value);
}

} // namespace TestSupport
