// Any bytes as the response of every operation: what is JSON becomes a record or is refused, and nothing else happens.

#include "Platform/Json.h"
#include "Platform/Text.h"
#include "Services/Catalogue.h"
#include "Services/Coding.h"
#include "Services/Properties.h"

#include <boost/json/serialize.hpp>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <tuple>
#include <type_traits>
#include <variant>
#include <vector>

namespace {

void require(bool condition, const char* operation, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "%s: %s\n", operation, what);
        std::abort();
    }
}

/// Reads every value of a record, so that one that is not its own is noticed.
template <class Record>
void readWhole(const Record& record) {
    const auto properties = Quenmark::propertiesOf(record);
    Platform::text(properties);
    boost::json::serialize(properties);
}
template <class Record>
void readWhole(const std::vector<Record>& records) {
    for (const auto& record : records)
        readWhole(record);
}
void readWhole(const Quenmark::ResponseField& status) {
    Platform::text(status);
}

template <class T>
struct HasLists : std::false_type {};
template <class T>
struct HasLists<std::vector<T>> : std::true_type {};
template <>
struct HasLists<Quenmark::GetSharedFilesTransferDataResponseData> : std::true_type {};
template <>
struct HasLists<Quenmark::ResponseField> : std::true_type {};

/// A record without lists takes any object and nothing else.
template <class Query, class Response>
void decode(const Quenmark::Operation<Query, Response>& operation, const boost::json::value& response) {
    bool refused = false;
    try {
        readWhole(operation.decode(boost::json::value(response)));
    } catch (const Quenmark::UnsupportedOperation&) {
        refused = true;
    }
    if constexpr (!HasLists<Response>::value)
        require(refused == !response.is_object(), operation.name, "refuses an object, or takes something else");
}
template <class Query>
void decode(const Quenmark::Operation<Query, Quenmark::RawResponse>&, const boost::json::value&) {}

/// Equal, but for the last digits of a double, which the library does not round exactly when it reads it.
bool isSame(const boost::json::value& a, const boost::json::value& b) {
    if (a.is_double() && b.is_double())
        return std::abs(a.get_double() - b.get_double()) <= 1e-14 * std::abs(a.get_double()) + 1e-300;
    if (a.is_array() && b.is_array())
        return std::ranges::equal(a.get_array(), b.get_array(), isSame);
    if (a.is_object() && b.is_object())
        return std::ranges::equal(a.get_object(), b.get_object(), [](const auto& one, const auto& other) {
            return one.key() == other.key() && isSame(one.value(), other.value());
        });
    return a == b;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input, std::size_t size) {
    const auto parsed = Platform::Json::parse({reinterpret_cast<const char*>(input), size});
    const auto* response = std::get_if<boost::json::value>(&parsed);
    if (response == nullptr)
        return 0;
    std::apply([&](const auto&... operation) { (decode(operation, *response), ...); }, Quenmark::Catalogue::operations);

    // What was read can be written, and is the same when it is read again.
    const auto written = Platform::Json::prettyPrinted(*response);
    const auto* text = std::get_if<std::string>(&written);
    require(text != nullptr, "JSON", "a response that was read cannot be written");
    const auto again = Platform::Json::parse(*text);
    const auto* same = std::get_if<boost::json::value>(&again);
    require(same != nullptr && isSame(*response, *same), "JSON", "a response changes on its way out and in");
    return 0;
}
