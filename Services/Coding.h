#pragma once

#include "Services/Record.h"

#include <boost/json/array.hpp>
#include <boost/json/object.hpp>

#include <stdexcept>
#include <utility>
#include <vector>

namespace Quenmark {

/// A value was asked for something that values of its kind do not have.
class UnsupportedOperation : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// How many bytes the records of one answer's lists may take in memory, what their fields refer to not counted: a list
/// of empty objects is short, and its records are not.
inline constexpr std::size_t maximumRecordsSize = 256ULL << 20;

/// The records of an answer would take more than `maximumRecordsSize`.
class AnswerTooLarge : public std::runtime_error {
public:
    AnswerTooLarge() : std::runtime_error("the records of the answer take more than 256 MiB") {}
};

/// What is left of `maximumRecordsSize` for an answer.
class RecordsBudget {
public:
    void take(std::size_t records, std::size_t recordSize) {
        if (records > left_ / recordSize)
            throw AnswerTooLarge();
        left_ -= records * recordSize;
    }

private:
    std::size_t left_ = maximumRecordsSize;
};

/// The JSON object of a record: its fields under their keys, nil ones left out.
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
void decodeInto(Record& record, boost::json::value&& answer, RecordsBudget& budget);

/// Moves the entries of an answer out of it, one key after the other. Keys that come in the order in which they are
/// asked for are found without a search.
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

inline void decodeField(boost::json::value&& from, AnswerField& into, RecordsBudget&) {
    into.emplace(std::move(from));
}

/// A list is a JSON array, each element a record. A dictionary would be walked over its keys, none of which is a
/// record; one without keys is an empty list.
template <class Record>
void decodeField(boost::json::value&& from, std::vector<Record>& into, RecordsBudget& budget) {
    if (const auto* object = from.if_object(); object != nullptr && object->empty())
        return;
    auto* array = from.if_array();
    if (array == nullptr)
        throw UnsupportedOperation("the answer has something else in the place of a list");
    budget.take(array->size(), sizeof(Record));
    into.reserve(array->size());
    for (auto& element : *array)
        decodeInto(into.emplace_back(), std::move(element), budget);
}

/// Fills an empty record with an answer. Its values are moved out of the answer; keys that are not there leave nil or
/// an empty list. Throws UnsupportedOperation when the answer has no keys at all, or no list where one belongs, and
/// AnswerTooLarge when `budget` does not suffice.
template <class Record>
void decodeInto(Record& record, boost::json::value&& answer, RecordsBudget& budget) {
    auto* object = answer.if_object();
    if (object == nullptr)
        throw UnsupportedOperation("the answer is not a dictionary");
    EntryReader entries(*object);
    forEachField<Record>([&](const auto& field) {
        if (field.key == notOnTheWire)
            return;
        if (auto* value = entries.find(field.key))
            decodeField(std::move(*value), record.*field.member, budget);
    });
}

/// The record of an answer.
template <class Record>
Record decode(boost::json::value&& answer) {
    Record record;
    RecordsBudget budget;
    decodeInto(record, std::move(answer), budget);
    return record;
}

/// The records of an answer that is a list.
template <class Record>
std::vector<Record> decodeList(boost::json::value&& answer) {
    std::vector<Record> records;
    RecordsBudget budget;
    decodeField(std::move(answer), records, budget);
    return records;
}

} // namespace Quenmark
