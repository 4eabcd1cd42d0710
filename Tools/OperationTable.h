#pragma once

#include "Services/Operation.h"

#include <string>
#include <string_view>
#include <vector>

namespace Tools {

/// A field of a record, or of the records in a list.
struct FieldDescription {
    std::string_view key;
    std::string_view property;
    /// Where the field is a list: the name of its records, and their fields.
    std::string_view listOf;
    std::vector<FieldDescription> fields;
};

/// A row of the catalogue as text.
struct OperationDescription {
    std::string_view name;
    std::string_view handlerKeyword;
    std::string_view path;
    Quenmark::OperationVariant variant;
    /// The names of the records; of the one in the list where a list travels. No response record: "".
    std::string_view requestRecord;
    std::string_view responseRecord;
    std::vector<FieldDescription> request;
    std::vector<FieldDescription> response;

    std::vector<std::string_view> requestKeys() const;
    std::vector<std::string_view> responseProperties() const;
};

/// The name of a variant as the source spells it.
std::string_view nameOf(Quenmark::OperationVariant variant);
/// What the variant means, in a sentence's predicate: "posts ...".
std::string_view descriptionOf(Quenmark::OperationVariant variant);

/// Every operation, in the order of the catalogue.
const std::vector<OperationDescription>& operationTable();

/// The place in the table of the operation with that name: the facade's, also without "async", in any case of letters.
/// Throws Failure, with the nearest name, where there is none.
std::size_t operationNamed(std::string_view name);

} // namespace Tools
