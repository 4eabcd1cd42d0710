#include "Tools/OperationTable.h"
#include "Tools/Output.h"
#include "Tools/Reference/Reference.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>

#include <algorithm>
#include <array>
#include <utility>

namespace Tools::Reference {

using boost::json::array;
using boost::json::object;
using Quenmark::OperationVariant;

namespace {

constexpr const char* description =
    "The operations as the development web service serves them. Every operation is a POST. A field of a request is "
    "text, "
    "and is not sent where it is nil. A response has ReturnStatus \"0\" where the operation has done its work, and "
    "\"1\" "
    "where it cannot or where nothing is pending. To the client library the HTTP status plays no part: what "
    "counts is that a body comes and is JSON, and it takes any JSON value in a field, or none. It reports an operation "
    "with one of these statuses: 0 success (a response was "
    "received, and decoded where it is JSON), 1 not reachable (there is no network, nothing was sent), 2 transport "
    "error (the transfer failed), 4 encode error (the request cannot be written as JSON, nothing was sent), 5 decode "
    "error (the response is not JSON).";

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

object valueOf(std::string_view text) {
    return {{"type", "string"}, {"enum", {text}}};
}

object null() {
    return {{"enum", {nullptr}}};
}

object textOrNull() {
    return {{"anyOf", {object{{"type", "string"}}, null()}}};
}

/// An object with all of these members and no others.
object closedObject(object properties) {
    array required;
    for (const auto& property : properties)
        required.push_back(boost::json::string(property.key()));
    return {{"type", "object"},
            {"properties", std::move(properties)},
            {"required", std::move(required)},
            {"additionalProperties", false}};
}

/// A member of a successful response. A record's own texts may be null in lists.
object memberSchema(const FieldDescription& field, bool isInList) {
    constexpr std::array<std::string_view, 3> mayBeNull{"Attachment", "BaseSystemFileID", "VersionNumber"};
    if (field.key == "ReturnStatus")
        return valueOf("0");
    if (field.key == "error")
        return null();
    if (!field.listOf.empty())
        return arrayOf(field.listOf);
    const bool hasNull = isInList || std::ranges::find(mayBeNull, field.key) != mayBeNull.end();
    return hasNull ? textOrNull() : object{{"type", "string"}};
}

/// The schema of a response's record, and those of the records in its lists.
void addResponseSchemas(object& schemas, std::string_view record, const std::vector<FieldDescription>& fields,
                        bool isInList = false) {
    object properties;
    for (const auto& field : fields) {
        if (field.key.empty())
            continue;
        auto schema = memberSchema(field, isInList);
        schema["description"] = "Property " + std::string(field.property);
        properties[field.key] = std::move(schema);
        if (!field.listOf.empty())
            addResponseSchemas(schemas, field.listOf, field.fields, true);
    }
    schemas[record] = closedObject(std::move(properties));
}

object schemas() {
    object result;
    for (const auto& operation : operationTable()) {
        result[operation.requestRecord] = requestSchema(operation);
        if (!operation.responseRecord.empty())
            addResponseSchemas(result, operation.responseRecord, operation.response);
    }
    const object text{{"type", "string"}};
    result["Done"] = closedObject({{"ReturnStatus", valueOf("0")}, {"error", null()}});
    result["Error"] = closedObject({{"code", text}, {"message", text}});
    result["Nothing"] = closedObject({{"ReturnStatus", valueOf("1")}, {"error", null()}});
    result["NothingToDelete"] = closedObject({{"ReturnStatus", valueOf("1")}});
    result["Refusal"] = closedObject({{"ReturnStatus", valueOf("1")}, {"error", reference("Error")}});
    return result;
}

object requestBody(const OperationDescription& operation) {
    switch (operation.variant) {
    case OperationVariant::HeaderUpload:
        return {{"description", "The bytes of the file"}, {"content", {{bytesType, object()}}}, {"required", true}};
    case OperationVariant::PostList:
        return {{"content", content(jsonType, arrayOf(operation.requestRecord))}, {"required", true}};
    case OperationVariant::RawStream: {
        auto schema = requestSchema(operation);
        schema["properties"].as_object()["Length"] =
            object{{"type", "string"},
                   {"pattern", "^[0-9]+$"},
                   {"description", "How many bytes of the item there are already: the stream begins behind them"}};
        return {{"content", content(jsonType, std::move(schema))}, {"required", true}};
    }
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

object header(std::string_view text, object schema, bool isRequired) {
    return {{"description", text}, {"schema", std::move(schema)}, {"required", isRequired}};
}

/// The header fields of a stream's response.
object streamHeaders(array statuses) {
    const bool mayHaveItem = statuses.front() == "0";
    object headers{
        {"ReturnStatus",
         header("0: the body is the rest of the item; 1: the request is wrong; 2: there is nothing to be had",
                {{"type", "string"}, {"enum", std::move(statuses)}}, true)},
        {"Error", header("With ReturnStatus 1: how the request is wrong", {{"type", "string"}}, false)}};
    constexpr std::array<std::string_view, 7> item{"FileName",     "FileUploadID",      "IsFile",         "ServerPath",
                                                   "ToComputerID", "TransitUploadPath", "UploadProcessed"};
    for (const auto name : item)
        if (mayHaveItem)
            headers[name] = header("With ReturnStatus 0, raw UTF-8", {{"type", "string"}}, false);
    return headers;
}

/// The schemas of which the body of a response of status 200 keeps one.
object bodySchema(const OperationDescription& operation) {
    const auto record = operation.responseRecord.empty() ? std::string_view("Done") : operation.responseRecord;
    array schemas{reference(record), reference("Refusal")};
    if (operation.name == "asyncGetTopFileUpload" || operation.name == "asyncGetTopFileRequest")
        schemas.push_back(reference("Nothing"));
    if (operation.name == "asyncGetTopFileDeleteRequest")
        schemas.push_back(reference("NothingToDelete"));
    return {{"anyOf", std::move(schemas)}};
}

object response(const OperationDescription& operation) {
    switch (operation.variant) {
    case OperationVariant::RawStream:
        return {{"description", "The bytes of the item, or none"},
                {"headers", streamHeaders({"0", "1", "2"})},
                {"content", {{bytesType, object()}}}};
    case OperationVariant::PostList:
        return {{"description", "One record, or refusal, for each of the request"},
                {"content", content(jsonType, {{"type", "array"}, {"items", bodySchema(operation)}})}};
    case OperationVariant::PostForStatus:
        return {{"description", "The value of ReturnStatus is the whole result. The client library can only read an "
                                "response without one."},
                {"content", content(jsonType, bodySchema(operation))}};
    default:
        return {{"description", "The record, or a refusal"}, {"content", content(jsonType, bodySchema(operation))}};
    }
}

/// What the web service refuses before it looks at the operation, or because something of its own fails.
constexpr std::array refusals{
    std::pair("400", "The body is not JSON, not of the right kind, or not framed as HTTP wants it"),
    std::pair("403", "The Host or the Origin of the request is another site's"),
    std::pair("408", "The request line and headers did not arrive in time"),
    std::pair("413", "The body is too long, or has too many entries"),
    std::pair("417", "An expectation other than 100-continue"),
    std::pair("431", "The request line and headers are too long"),
    std::pair("500", "An error of the web service's own, such as a database that another process has locked"),
    std::pair("501", "A transfer coding other than chunked"),
    std::pair("503", "Too many long requests are being processed"),
    std::pair("505", "A version of HTTP other than 1.0 and 1.1"),
};

object responses(const OperationDescription& operation) {
    object result{{"200", response(operation)}};
    const std::string_view prefix = operation.variant == OperationVariant::RawStream ? "Stream" : "Refusal";
    for (const auto& [status, text] : refusals) {
        // The content of a file may have any length.
        if (operation.variant != OperationVariant::HeaderUpload || std::string_view(status) != "413")
            result[status] = {{"$ref", "#/components/responses/" + std::string(prefix) + status}};
    }
    return result;
}

object sharedResponses() {
    object result;
    for (const auto& [status, text] : refusals) {
        result[std::string("Refusal") + status] = {{"description", text},
                                                   {"content", content(jsonType, reference("Refusal"))}};
        result[std::string("Stream") + status] = {{"description", std::string(text) + ". The body is empty"},
                                                  {"headers", streamHeaders({"1", "2"})},
                                                  {"content", {{bytesType, object()}}}};
    }
    return result;
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
    if (operation.variant == OperationVariant::HeaderUpload)
        result["parameters"] = headerParameters(operation);
    result["requestBody"] = requestBody(operation);
    result["responses"] = responses(operation);
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
        {"components", {{"responses", sharedResponses()}, {"schemas", schemas()}}},
    });
}

} // namespace Tools::Reference
