#include "Tools/OperationTable.h"

#include "Platform/Ascii.h"
#include "Services/Catalogue.h"
#include "Tools/Failure.h"
#include "Tools/NearestName.h"

#include <algorithm>
#include <tuple>
#include <type_traits>

namespace Tools {

using Quenmark::OperationVariant;
using Quenmark::RawResponse;
using Quenmark::ResponseField;

namespace {

/// The name of a record's type, without its namespace.
template <class Type>
constexpr std::string_view typeName() {
    // The name stands between "Type = " and ";" or "]" (GCC and Clang).
    constexpr std::string_view function = __PRETTY_FUNCTION__;
    constexpr std::string_view mark = "Type = ";
    constexpr std::size_t start = function.find(mark) + mark.size();
    std::string_view name = function.substr(start, function.find_first_of(";]", start) - start);
    name.remove_prefix(name.rfind(':') + 1);
    return name;
}

template <class Value>
struct ListElement {
    using Type = void;
};
template <class Record>
struct ListElement<std::vector<Record>> {
    using Type = Record;
};

template <class Record>
std::vector<FieldDescription> fieldsOf() {
    std::vector<FieldDescription> fields;
    Quenmark::forEachField<Record>([&](const auto& field) {
        using Value = std::remove_cvref_t<decltype(std::declval<Record>().*field.member)>;
        using Element = typename ListElement<Value>::Type;
        FieldDescription description{field.key, field.property, {}, {}};
        if constexpr (!std::is_void_v<Element>) {
            description.listOf = typeName<Element>();
            description.fields = fieldsOf<Element>();
        }
        fields.push_back(std::move(description));
    });
    return fields;
}

/// Fills in a record's name and fields, where `Value` is a record or a list of records.
template <class Value>
void describe(std::string_view& record, std::vector<FieldDescription>& fields) {
    using Element = typename ListElement<Value>::Type;
    if constexpr (!std::is_void_v<Element>) {
        describe<Element>(record, fields);
    } else if constexpr (!std::is_same_v<Value, RawResponse> && !std::is_same_v<Value, ResponseField>) {
        record = typeName<Value>();
        fields = fieldsOf<Value>();
    }
}

template <class Query, class Response>
OperationDescription described(const Quenmark::Operation<Query, Response>& operation) {
    OperationDescription description{
        operation.name, operation.handlerKeyword, operation.path, operation.variant, {}, {}, {}, {}};
    describe<Query>(description.requestRecord, description.request);
    describe<Response>(description.responseRecord, description.response);
    return description;
}

constexpr std::string_view prefix = "async";

std::string plainName(std::string_view name) {
    std::string plain = Platform::lowerCase(name);
    return plain.starts_with(prefix) ? plain.substr(prefix.size()) : plain;
}

} // namespace

std::vector<std::string_view> OperationDescription::requestKeys() const {
    std::vector<std::string_view> keys;
    for (const auto& field : request)
        keys.push_back(field.key);
    return keys;
}

std::vector<std::string_view> OperationDescription::responseProperties() const {
    std::vector<std::string_view> properties;
    for (const auto& field : response)
        properties.push_back(field.property);
    return properties;
}

std::string_view nameOf(OperationVariant variant) {
    switch (variant) {
    case OperationVariant::Post:
        return "Post";
    case OperationVariant::PostList:
        return "PostList";
    case OperationVariant::PostForStatus:
        return "PostForStatus";
    case OperationVariant::RawStream:
        return "RawStream";
    case OperationVariant::HeaderUpload:
        return "HeaderUpload";
    }
    return "";
}

std::string_view descriptionOf(OperationVariant variant) {
    switch (variant) {
    case OperationVariant::Post:
        return "posts a JSON object; the response is a JSON object";
    case OperationVariant::PostList:
        return "posts a JSON array of objects; the response is one too";
    case OperationVariant::PostForStatus:
        return "posts a JSON object; the handler is given the response's bare status, and only a response without one "
               "can be parsed";
    case OperationVariant::RawStream:
        return "posts a JSON object; the response is a stream of bytes, passed on undecoded; does nothing on releases "
               "10.7 to 10.9";
    case OperationVariant::HeaderUpload:
        return "posts the bytes of a file, with the fields of the request in header fields; the response is a JSON "
               "object; does nothing on releases 10.7 to 10.9";
    }
    return "";
}

const std::vector<OperationDescription>& operationTable() {
    static const std::vector<OperationDescription> table =
        std::apply([](const auto&... operation) { return std::vector<OperationDescription>{described(operation)...}; },
                   Quenmark::Catalogue::operations);
    return table;
}

std::size_t operationNamed(std::string_view name) {
    const auto& table = operationTable();
    const std::string wanted = plainName(name);
    const auto found =
        std::ranges::find_if(table, [&](const auto& operation) { return plainName(operation.name) == wanted; });
    if (found != table.end())
        return static_cast<std::size_t>(found - table.begin());
    const auto nearest = std::ranges::min_element(
        table, {}, [&](const auto& operation) { return editDistance(wanted, plainName(operation.name)); });
    throw Failure(ExitStatus::Usage, "there is no operation \"" + std::string(name) + "\"; the nearest one is " +
                                         std::string(nearest->name));
}

} // namespace Tools
