#pragma once

#include "Services/Record.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>

#include <vector>

namespace Tools {

template <class Record>
boost::json::object wireForm(const Record& record);

/// A list of records, each in its wire form.
template <class Record>
boost::json::array wireForm(const std::vector<Record>& list) {
    boost::json::array array;
    array.reserve(list.size());
    for (const auto& record : list)
        array.emplace_back(wireForm(record));
    return array;
}

inline void addWireField(boost::json::object& object, std::string_view key, const Quenmark::ResponseField& value) {
    if (value)
        object.emplace(key, *value);
}

template <class Record>
void addWireField(boost::json::object& object, std::string_view key, const std::vector<Record>& list) {
    object.emplace(key, wireForm(list));
}

/// A response's record under the keys that it has on the wire, so that it can be the body of another call. Fields that
/// are nil or not on the wire are left out.
template <class Record>
boost::json::object wireForm(const Record& record) {
    boost::json::object object;
    Quenmark::forEachField<Record>([&](const auto& field) {
        if (field.key != Quenmark::notOnTheWire)
            addWireField(object, field.key, record.*field.member);
    });
    return object;
}

} // namespace Tools
