#pragma once

#include "Services/Coding.h"

#include <boost/json/array.hpp>

#include <utility>

namespace Quenmark {

/// What is left of `maximumRecordsSize` for a response.
class RecordsBudget {
public:
    void take(std::size_t records, std::size_t recordSize) {
        if (records > left_ / recordSize)
            throw ResponseTooLarge();
        left_ -= records * recordSize;
    }

private:
    std::size_t left_ = maximumRecordsSize;
};

template <class Record>
boost::json::object encode(const Record& record) {
    boost::json::object object;
    forEachField<Record>([&](const auto& field) {
        if (const auto& value = record.*field.member)
            object.emplace(field.key, *value);
    });
    return object;
}

template <class Record>
boost::json::object encode(const std::vector<Record>& records) {
    boost::json::array array;
    array.reserve(records.size());
    for (const auto& record : records)
        array.emplace_back(encode(record));
    return {{"syncData", std::move(array)}};
}

/// Moves the entries of a response out of it, one key after the other. Keys that stand in the order in which they
/// are requested are found without a search.
class EntryReader {
public:
    explicit EntryReader(boost::json::object& object) : object_(object), next_(object.begin()) {}

    boost::json::value* find(std::string_view key) {
        if (next_ == object_.end() || next_->key() != key)
            next_ = object_.find(key);
        if (next_ == object_.end())
            return nullptr;
        return &(next_++)->value();
    }

private:
    boost::json::object& object_;
    boost::json::object::iterator next_;
};

template <class Record>
void decodeInto(Record& record, boost::json::value&& response, RecordsBudget& budget);

inline void decodeInto(ResponseField& field, boost::json::value&& value, RecordsBudget&) {
    field.emplace(std::move(value));
}

/// A list is a JSON array, each element a record. A dictionary would be walked over its keys, none of which is a
/// record; one without keys is an empty list. Throws UnsupportedOperation for anything else.
template <class Record>
void decodeInto(std::vector<Record>& records, boost::json::value&& response, RecordsBudget& budget) {
    if (const auto* object = response.if_object(); object != nullptr && object->empty())
        return;
    auto* array = response.if_array();
    if (array == nullptr)
        throw UnsupportedOperation("the response has no list where one belongs");
    budget.take(array->size(), sizeof(Record));
    records.reserve(array->size());
    for (auto& element : *array)
        decodeInto(records.emplace_back(), std::move(element), budget);
}

/// Fills an empty record with a response. Its values are moved out of the response; keys that are not there leave nil
/// or an empty list. Throws UnsupportedOperation when the response has no keys at all, and ResponseTooLarge when
/// `budget` does not suffice.
template <class Record>
void decodeInto(Record& record, boost::json::value&& response, RecordsBudget& budget) {
    auto* object = response.if_object();
    if (object == nullptr)
        throw UnsupportedOperation("the response is not a dictionary");
    EntryReader entries(*object);
    forEachField<Record>([&](const auto& field) {
        if (field.key == notOnTheWire)
            return;
        if (auto* value = entries.find(field.key))
            decodeInto(record.*field.member, std::move(*value), budget);
    });
}

template <class Response>
Response decode(boost::json::value&& response) {
    Response result;
    RecordsBudget budget;
    decodeInto(result, std::move(response), budget);
    return result;
}

template <class Record>
ResponseField decodeStatus(boost::json::value&& response) {
    if (decode<Record>(std::move(response)).returnStatus)
        throw UnsupportedOperation("a status value has no error to set");
    return std::nullopt;
}

} // namespace Quenmark
