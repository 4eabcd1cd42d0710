#include "Tools/OperationTable.h"
#include "Tools/Output.h"
#include "Tools/Verbs.h"

#include <CLI/CLI.hpp>
#include <boost/json/array.hpp>
#include <boost/json/object.hpp>

#include <memory>

namespace Tools {

namespace {

boost::json::array arrayOf(const std::vector<std::string_view>& texts) {
    boost::json::array array;
    for (const auto text : texts)
        array.emplace_back(text);
    return array;
}

boost::json::array catalogueAsJson() {
    boost::json::array operations;
    for (const auto& operation : operationTable())
        operations.emplace_back(boost::json::object{
            {"name", operation.name},
            {"path", operation.path},
            {"variant", nameOf(operation.variant)},
            {"requestKeys", arrayOf(operation.requestKeys())},
            {"answerProperties", arrayOf(operation.responseProperties())},
        });
    return operations;
}

std::string joined(const std::vector<std::string_view>& texts) {
    std::string result;
    for (const auto text : texts)
        result.append(result.empty() ? "" : " ").append(text);
    return result.empty() ? "-" : result;
}

std::string catalogueAsText() {
    std::string text;
    for (const auto& operation : operationTable()) {
        text.append(operation.name).append("\n  path     ").append(operation.path);
        text.append("\n  variant  ").append(nameOf(operation.variant));
        text.append("\n  request  ").append(joined(operation.requestKeys()));
        text.append("\n  response ").append(joined(operation.responseProperties())).append("\n");
    }
    return text;
}

} // namespace

void addOperations(CLI::App& program, Action& action) {
    auto& verb = *program.add_subcommand("operations", "List the operations of the web service");
    const auto asJson = std::make_shared<bool>(false);
    verb.add_flag("--json", *asJson, "Print a JSON array");
    verb.footer("For each operation: its name, its path below the service root, how it is carried out, the keys of\n"
                "its request and the properties of its response.\n\n"
                "Example:\n  quenmark operations --json | jq -r '.[].name'");
    verb.callback([&action, asJson] {
        action = [asJson] {
            print(*asJson ? prettyJson(catalogueAsJson()) : catalogueAsText());
            return ExitStatus::Success;
        };
    });
}

} // namespace Tools
