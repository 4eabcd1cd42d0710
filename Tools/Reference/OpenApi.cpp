#include "Tools/OperationTable.h"
#include "Tools/Output.h"
#include "Tools/Reference/Reference.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>

namespace Tools::Reference {

using boost::json::array;
using boost::json::object;
using Quenmark::Variant;

namespace {

constexpr const char* description =
    "Every operation is a POST. A field of a request is text, and is not sent where it is nil; a field of an answer "
    "may be any JSON value, or be missing. The HTTP status of an answer plays no part: what counts is that a body "
    "comes and is JSON. The client library reports an operation with one of these statuses: 0 success (an answer was "
    "received, and decoded where it is JSON), 1 not reachable (there is no network, nothing was sent), 2 transport "
    "error (the transfer failed), 4 encode error (the request cannot be written as JSON, nothing was sent), 5 decode "
    "error (the answer is not JSON).";

constexpr const char* jsonType = "application/json";
constexpr const char* bytesType = "application/octet-stream";

object reference(std::string_view record) {
    return {{"$ref", "#/components/schemas/" + std::string(record)}};
}

object arrayOf(std::string_view record) {
    return {{"type", "array"}, {"items", reference(record)}};
}

object content(std::string_view type, object schema) {
    return {{type, {{"schema", std::move(schema)}}}};
}

object requestSchema(const OperationDescription& operation) {
    object properties;
    for (const auto& field : operation.request)
        properties[field.key] = {{"type", "string"}, {"description", "Property " + std::string(field.property)}};
    return {{"type", "object"}, {"properties", std::move(properties)}};
}

/// The schema of an answer's record, and those of the records in its lists.
void addAnswerSchemas(object& schemas, std::string_view record, const std::vector<FieldDescription>& fields) {
    object properties;
    for (const auto& field : fields) {
        const std::string text = "Property " + std::string(field.property);
        if (field.key.empty())
            continue;
        if (field.listOf.empty()) {
            properties[field.key] = {{"description", text + "; any value"}};
            continue;
        }
        auto list = arrayOf(field.listOf);
        list["description"] = text;
        properties[field.key] = std::move(list);
        addAnswerSchemas(schemas, field.listOf, field.fields);
    }
    schemas[record] = {{"type", "object"}, {"properties", std::move(properties)}};
}

object schemas() {
    object result;
    for (const auto& operation : operationTable()) {
        result[operation.requestRecord] = requestSchema(operation);
        if (!operation.answerRecord.empty())
            addAnswerSchemas(result, operation.answerRecord, operation.answer);
    }
    return result;
}

object requestBody(const OperationDescription& operation) {
    switch (operation.variant) {
    case Variant::HeaderUpload:
        return {{"description", "The bytes of the file"}, {"content", {{bytesType, object()}}}, {"required", true}};
    case Variant::PostList:
        return {{"content", content(jsonType, arrayOf(operation.requestRecord))}, {"required", true}};
    default:
        return {{"content", content(jsonType, reference(operation.requestRecord))}, {"required", true}};
    }
}

array headerParameters(const OperationDescription& operation) {
    array parameters;
    for (const auto& field : operation.request)
        if (travelsInHeader(field.key))
            parameters.push_back(object{{"name", field.key},
                                        {"in", "header"},
                                        {"description", "Property " + std::string(field.property)},
                                        {"schema", {{"type", "string"}}}});
    return parameters;
}

object answer(const OperationDescription& operation) {
    switch (operation.variant) {
    case Variant::RawStream:
        return {{"description", "The bytes of the stream"}, {"content", {{bytesType, object()}}}};
    case Variant::PostList:
        return {{"description", "One record for each of the request"},
                {"content", content(jsonType, arrayOf(operation.answerRecord))}};
    case Variant::PostForStatus:
        return {{"description", "The value of ReturnStatus is the whole result. The client library can only read an "
                                "answer without one."},
                {"content", content(jsonType, {{"type", "object"},
                                               {"properties", {{"ReturnStatus", object()}, {"error", object()}}}})}};
    default:
        return {{"description", "The record"}, {"content", content(jsonType, reference(operation.answerRecord))}};
    }
}

object post(const OperationDescription& operation) {
    std::string text = "RestInterface::" + std::string(operation.name) + ", with the handler keyword " +
                       std::string(operation.handlerKeyword) + ": " + std::string(descriptionOf(operation.variant)) +
                       ".";
    if (encodedPath(operation.path) != operation.path)
        text += " The client library writes the path with the bare character U+FFFC, with which no URL can be "
                "formed: it always reports a transport error, and sends nothing.";
    object result{{"operationId", operation.name},
                  {"summary", titleOf(operation.name)},
                  {"description", text},
                  {"tags", {operation.path.substr(0, operation.path.rfind('/'))}},
                  {"x-quenmark-variant", nameOf(operation.variant)}};
    if (operation.variant == Variant::HeaderUpload)
        result["parameters"] = headerParameters(operation);
    result["requestBody"] = requestBody(operation);
    result["responses"] = {{"200", answer(operation)}, {"default", answer(operation)}};
    return result;
}

object paths() {
    object result;
    for (const auto& operation : operationTable())
        result["/" + encodedPath(operation.path)] = {{"post", post(operation)}};
    return result;
}

} // namespace

std::string openApi() {
    const std::string root(serviceRootPath.substr(0, serviceRootPath.size() - 1));
    return prettyJson(object{
        {"openapi", "3.1.0"},
        {"info", {{"title", "Quenmark web service"}, {"version", QUENMARK_VERSION}, {"description", description}}},
        {"servers",
         {object{
             {"url", "http://{host}" + root},
             {"variables",
              {{"host", {{"default", "service.quenmark.example"}, {"description", "Host, with :port if not 80"}}}}}}}},
        {"paths", paths()},
        {"components", {{"schemas", schemas()}}},
    });
}

} // namespace Tools::Reference
