#pragma once

#include "Platform/Error.h"

#include <gtest/gtest.h>

#include <optional>
#include <variant>

namespace TestSupport {

/// The code of an error of the domain that operations on files have; 0 for none.
inline int codeOf(const std::optional<Platform::Error>& error) {
    if (!error)
        return 0;
    EXPECT_EQ(error->domain, "POSIX");
    return error->code;
}

template <class Value>
int codeOf(const std::variant<Value, Platform::Error>& result) {
    const auto* error = std::get_if<Platform::Error>(&result);
    return error != nullptr ? codeOf(std::optional(*error)) : 0;
}

} // namespace TestSupport
