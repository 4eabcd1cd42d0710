#pragma once

#include <boost/json.hpp>

#include <string_view>

namespace ServicesTests {

inline boost::json::value json(std::string_view text) {
    return boost::json::parse({text.data(), text.size()});
}

} // namespace ServicesTests
