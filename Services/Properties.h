#pragma once

#include "Services/Record.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>

#include <string>
#include <vector>

namespace Quenmark {

template <class Record>
boost::json::object propertiesOf(const Record& record);

inline void addProperty(boost::json::object& properties, std::string_view name, const ResponseField& value) {
    if (value)
        properties.emplace(name, *value);
}

inline void addProperty(boost::json::object& properties, std::string_view name, const RequestField& value) {
    if (value)
        properties.emplace(name, *value);
}

template <class Record>
void addProperty(boost::json::object& properties, std::string_view name, const std::vector<Record>& list) {
    boost::json::array array;
    array.reserve(list.size());
    for (const auto& record : list)
        array.emplace_back(propertiesOf(record));
    properties.emplace(name, std::move(array));
}

/// A record as a person reads it: its fields under the names of their properties, nil ones left out.
template <class Record>
boost::json::object propertiesOf(const Record& record) {
    boost::json::object properties;
    forEachField<Record>([&](const auto& field) { addProperty(properties, field.property, record.*field.member); });
    return properties;
}

} // namespace Quenmark
