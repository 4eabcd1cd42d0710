#include "XPCWrappers/Number.h"

#include <cmath>
#include <limits>
#include <string_view>

namespace Quenmark::XPC {

namespace {

template <class Integer>
Integer nearest(double number) {
    // The limits of the type, rounded away from zero to a double; a value between them converts as it is.
    constexpr auto low = static_cast<double>(std::numeric_limits<Integer>::min());
    constexpr auto high = static_cast<double>(std::numeric_limits<Integer>::max());
    if (std::isnan(number))
        return 0;
    if (number <= low)
        return std::numeric_limits<Integer>::min();
    if (number >= high)
        return std::numeric_limits<Integer>::max();
    return static_cast<Integer>(number);
}

template <class Integer>
Integer converted(const auto& value) {
    if constexpr (std::is_floating_point_v<std::remove_cvref_t<decltype(value)>>) {
        return nearest<Integer>(value);
    } else if constexpr (std::same_as<std::remove_cvref_t<decltype(value)>, bool>) {
        return value ? 1 : 0;
    } else {
        if (std::cmp_less(value, std::numeric_limits<Integer>::min()))
            return std::numeric_limits<Integer>::min();
        if (std::cmp_greater(value, std::numeric_limits<Integer>::max()))
            return std::numeric_limits<Integer>::max();
        return static_cast<Integer>(value);
    }
}

} // namespace

char Number::objCType() const {
    constexpr std::string_view encodings = "csiqCSIQfd";
    return value_.index() == 0 ? 'c' : encodings[value_.index() - 1];
}

bool Number::isTrue() const {
    return value_ == Storage(true);
}

double Number::doubleValue() const {
    return std::visit([](auto value) { return static_cast<double>(value); }, value_);
}

std::int64_t Number::longValue() const {
    return std::visit([](auto value) { return converted<std::int64_t>(value); }, value_);
}

std::uint64_t Number::unsignedLongValue() const {
    return std::visit([](auto value) { return converted<std::uint64_t>(value); }, value_);
}

std::int64_t integerPart(double number) {
    return nearest<std::int64_t>(number);
}

} // namespace Quenmark::XPC
