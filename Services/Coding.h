#pragma once

#include "Services/Record.h"

#include <boost/json/object.hpp>

#include <stdexcept>
#include <vector>

/// Turns records into JSON and back. The functions are defined in CodingDefinitions.h, which compiles slowly, and made
/// in Catalogue.cpp for the records of every operation.
namespace Quenmark {

/// An operation on a value whose kind does not support it.
class UnsupportedOperation : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// How many bytes the records of one response's lists may take in memory, what their fields refer to not counted: a
/// list of empty objects is short, and its records are not.
inline constexpr std::size_t maximumRecordsSize = 256ULL << 20;

/// The records of a response would take more than `maximumRecordsSize`.
class ResponseTooLarge : public std::runtime_error {
public:
    ResponseTooLarge() : std::runtime_error("the records of the response take more than 256 MiB") {}
};

/// The JSON object of a request's record: its fields under their keys, nil ones left out.
template <class Record>
boost::json::object encode(const Record& record);
/// A list of records: the JSON array of their objects under the key "syncData".
template <class Record>
boost::json::object encode(const std::vector<Record>& records);

/// The record of a response, or the list of its records. A record's values are moved out of the response; keys that are
/// not there leave nil or an empty list. Throws UnsupportedOperation for a response of the wrong shape, and
/// ResponseTooLarge.
template <class Response>
Response decode(boost::json::value&& response);
/// The bare status of a response with the keys of `Record`, nil where there is none. The status itself is given the
/// response's "error"; no status has a place for one, so that a response with a status throws UnsupportedOperation.
/// That is required.
template <class Record>
ResponseField decodeStatus(boost::json::value&& response);

} // namespace Quenmark
