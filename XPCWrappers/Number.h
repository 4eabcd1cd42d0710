#pragma once

#include <concepts>
#include <cstdint>
#include <type_traits>
#include <utility>
#include <variant>

namespace Quenmark::XPC {

/// A number that remembers of which C type it was made. Two numbers are equal when type encoding and value are.
class Number {
    using Storage = std::variant<bool, std::int8_t, std::int16_t, std::int32_t, std::int64_t, std::uint8_t,
                                 std::uint16_t, std::uint32_t, std::uint64_t, float, double>;

    /// Of two integer types of 64 bits, the one that is stored.
    template <class Value>
    using Stored =
        std::conditional_t<std::same_as<Value, long long>, std::int64_t,
                           std::conditional_t<std::same_as<Value, unsigned long long>, std::uint64_t, Value>>;

public:
    template <class Value>
    requires std::is_arithmetic_v<Value> && std::constructible_from<Storage, std::in_place_type_t<Stored<Value>>, Value>
    Number(Value value) : value_(std::in_place_type<Stored<Value>>, value) {}

    /// The type's encoding: "c" for booleans and signed 8-bit integers, "s", "i" and "q" for signed ones of 16, 32 and
    /// 64 bits, the capitals "C", "S", "I" and "Q" for unsigned ones, "f" and "d" for floats and doubles.
    char objCType() const;
    /// Whether this is the boolean true; no other number is.
    bool isTrue() const;
    /// The value as these types; what does not fit becomes the nearest value that does, and no number 0.
    double doubleValue() const;
    std::int64_t longValue() const;
    std::uint64_t unsignedLongValue() const;

    bool operator==(const Number&) const = default;

private:
    Storage value_;
};

/// The integer part of a number of any size, as `Number::longValue` gives it.
std::int64_t integerPart(double number);

} // namespace Quenmark::XPC
