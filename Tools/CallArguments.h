#pragma once

#include "Services/Record.h"
#include "Tools/OperationTable.h"

#include <boost/json/object.hpp>
#include <boost/json/value.hpp>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace Tools {

/// What the command line says of a call.
struct CallArguments {
    std::string operation;
    std::vector<std::string> pairs;
    /// A file, or "-" for standard input.
    std::optional<std::string> json;
    std::optional<std::string> file;
    std::optional<std::string> output;
    std::chrono::duration<double> timeout = std::chrono::seconds(90);
    bool verbose = false;
    /// Whether the response is printed under its wire keys, whether a stream's header fields are printed, and whether a
    /// "ReturnStatus" other than "0" is a failure.
    bool printsWireKeys = false;
    bool printsHeaders = false;
    bool failsByStatus = false;
};

/// The request that the arguments give: an object of texts under the operation's keys, or a list of them for an
/// operation that takes one. Throws Failure where they are not valid.
boost::json::value requestBody(const OperationDescription& operation, const CallArguments& arguments);

/// The record, or list of records, of a request from `requestBody`.
template <class Record>
void fill(Record& record, const boost::json::value& body) {
    Quenmark::forEachField<Record>([&](const auto& field) {
        if (const auto* value = body.get_object().if_contains(field.key)) {
            const auto& text = value->get_string();
            (record.*field.member).emplace(text.data(), text.size());
        }
    });
}
template <class Record>
void fill(std::vector<Record>& records, const boost::json::value& body) {
    for (const auto& element : body.get_array())
        fill(records.emplace_back(), element);
}

} // namespace Tools
