#pragma once

#include "WebService/State.h"

#include <type_traits>

namespace webservice {

/// Calls a function with the parts of the state that it uses, by the types of its parameters.
template <auto function, typename Signature = decltype(function)>
struct Handler;
template <auto function, typename Result, typename Input, typename... Parts>
struct Handler<function, Result (*)(Input, Parts&...)> {
    static Result call([[maybe_unused]] State& state, Input input) {
        return function(input, state.part<std::remove_const_t<Parts>>()...);
    }
};
template <auto function>
constexpr auto handler = &Handler<function>::call;

} // namespace webservice
