#include "Tools/OperationTable.h"
#include "Tools/Reference/Reference.h"

#include <array>
#include <utility>

namespace Tools::Reference {

using Quenmark::OperationVariant;

namespace {

std::string code(std::string_view text) {
    return "`" + std::string(text) + "`";
}

constexpr const char* introduction =
    R"(# Operations of the web service

Made from the catalogue of operations (`Services/Catalogue.h`); to make it anew:
`cmake --build --preset release --target reference`. The same for programs, as OpenAPI 3.1: `openapi.json`.

Every operation is an HTTP POST to `http://HOST/QuenmarkRestService/` and the operation's path. In C++ it is a static
function of `Quenmark::RestInterface` that takes the request record and a completion handler; in the shell it is
`quenmark call OPERATION Key=value ...`. A field of a request is text, and is not sent where it is nil. A field of a
response is whatever JSON value came under its key, or nil where the key was missing. The HTTP status of a response plays
no part.

## Statuses

| status | name | meaning | exit status of `quenmark call` |
|---|---|---|---|
| 0 | `RestStatusSuccess` | a response was received, and decoded where it is JSON | 0 |
| 1 | `RestStatusNotReachable` | there is no network; nothing was sent | 69 |
| 2 | `RestStatusTransportError` | the transfer failed | 74; 69 where no connection was made, 75 where no response came in time |
| 4 | `RestStatusEncodeError` | the request cannot be written as JSON; nothing was sent | 65 |
| 5 | `RestStatusDecodeError` | the response is not JSON | 76 |

## Variants

| variant | what the operation does |
|---|---|
)";

std::string variants() {
    constexpr std::array all{OperationVariant::Post, OperationVariant::PostList, OperationVariant::PostForStatus,
                             OperationVariant::RawStream, OperationVariant::HeaderUpload};
    std::string rows;
    for (const auto variant : all)
        rows += "| " + code(nameOf(variant)) + " | " + std::string(descriptionOf(variant)) + " |\n";
    return rows;
}

std::string contents() {
    std::string rows = "\n## Contents\n\n| operation | path | variant |\n|---|---|---|\n";
    for (const auto& operation : operationTable())
        rows += "| [" + code(operation.name) + "](#" + std::string(operation.name) + ") | " + code(operation.path) +
                " | " + code(nameOf(operation.variant)) + " |\n";
    return rows;
}

std::string fieldTable(const std::vector<FieldDescription>& fields) {
    std::string rows = "| key | property |\n|---|---|\n";
    for (const auto& field : fields) {
        const std::string key = field.key.empty() ? "not on the wire" : code(field.key);
        const std::string list = field.listOf.empty() ? "" : ", a list of " + code(field.listOf);
        rows.append("| ").append(key).append(" | ").append(code(field.property)).append(list).append(" |\n");
    }
    return rows + "\n";
}

std::string responseOf(const OperationDescription& operation) {
    if (operation.variant == OperationVariant::RawStream)
        return "Response: a stream of bytes.\n\n";
    if (operation.responseRecord.empty())
        return "Response: the bare value under `ReturnStatus`.\n\n";
    const std::string what = operation.variant == OperationVariant::PostList ? "a list of " : "";
    std::string text = "Response: " + what + code(operation.responseRecord) + "\n\n" + fieldTable(operation.response);
    for (const auto& field : operation.response)
        if (!field.listOf.empty())
            text += "Each " + code(field.listOf) + ":\n\n" + fieldTable(field.fields);
    return text;
}

std::string exampleOf(const OperationDescription& operation) {
    std::string line = "quenmark call " + std::string(operation.name);
    for (const auto& field : operation.request) {
        const bool isFile = operation.variant == OperationVariant::HeaderUpload && field.key == "FilePath";
        line += isFile ? " --file PATH" : " " + std::string(field.key) + "=...";
    }
    if (operation.variant == OperationVariant::RawStream)
        line += " --output FILE";
    return "```\n" + line + "\n```\n";
}

std::string section(const OperationDescription& operation) {
    const std::string what = operation.variant == OperationVariant::PostList ? "a list of " : "";
    std::string text = "\n## " + std::string(operation.name) + "\n\n" + titleOf(operation.name) + ": " +
                       code(operation.path) + ", handler keyword " + code(operation.handlerKeyword) + ", variant " +
                       code(nameOf(operation.variant)) + ".\n\n";
    if (encodedPath(operation.path) != operation.path)
        text += "The path ends in the character U+FFFC, with which no URL can be formed: the operation always ends "
                "with `RestStatusTransportError`, and nothing is sent.\n\n";
    text += "Request: " + what + code(operation.requestRecord) + "\n\n" + fieldTable(operation.request);
    return text + responseOf(operation) + exampleOf(operation);
}

} // namespace

std::string markdown() {
    std::string text = introduction + variants() + contents();
    for (const auto& operation : operationTable())
        text += section(operation);
    return text;
}

} // namespace Tools::Reference
