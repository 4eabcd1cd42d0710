#pragma once

#include "Parsing/JsonText.h"
#include "Platform/Loop/Queue.h"
#include "Services/OperationCall.h"
#include "Services/Properties.h"
#include "Services/Result.h"

#include <boost/json/serialize.hpp>

#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace ServicesTests {

inline constexpr std::nullopt_t nil = std::nullopt;

/// What the completion handler of one call was given, and where.
struct Outcome {
    int calls = 0;
    std::int64_t status = -1;
    std::optional<Platform::Queue> queue;
    /// Whether it was given nothing, or the code of the error that it was given.
    bool isNil = false;
    std::optional<int> errorCode;
    /// Whether it was given a record, and that equals the expected one.
    bool isExpectedRecord = false;
    /// The record's properties by name.
    boost::json::value record;
};

/// One operation of the web service: what is asked, and what must be seen of it on the wire and in the handler.
struct OperationCase {
    std::string name;
    /// Below the service root.
    std::string path;
    /// The request's whole body.
    std::string body;
    /// What the server responses.
    std::string response;
    /// The request's properties by name, and those of the response's record.
    boost::json::value queryProperties;
    boost::json::value recordProperties;
    /// Makes the call.
    std::function<void(Outcome&, const Quenmark::ServiceContext&)> call;
    boost::json::value query;
};

inline void PrintTo(const OperationCase& operation, std::ostream* stream) {
    *stream << operation.name;
}

template <class Record>
boost::json::value printed(const Record& record) {
    return Quenmark::propertiesOf(record);
}

template <class Record>
boost::json::value printed(const std::vector<Record>& records) {
    boost::json::array list;
    for (const auto& record : records)
        list.emplace_back(Quenmark::propertiesOf(record));
    return list;
}

/// What is written by hand for one operation.
template <class Query, class Response>
struct Expectation {
    Query query;
    const char* queryProperties;
    const char* path;
    const char* body;
    const char* response;
    Response record;
    const char* recordProperties;
};

template <class Query, class Response>
OperationCase operation(const char* name, const Quenmark::Operation<Query, Response>& row,
                        std::type_identity_t<Expectation<Query, Response>> expected) {
    OperationCase result;
    result.name = name;
    result.path = expected.path;
    result.body = expected.body;
    result.response = expected.response;
    result.queryProperties = json(expected.queryProperties);
    result.recordProperties = json(expected.recordProperties);
    result.query = printed(expected.query);
    result.call = [&row, query = expected.query,
                   record = std::move(expected.record)](Outcome& outcome, const Quenmark::ServiceContext& context) {
        const auto handler = [&outcome, record](Quenmark::Result<Response> response, std::int64_t status) {
            ++outcome.calls;
            outcome.status = status;
            outcome.queue = Platform::Queue::current();
            outcome.isNil = response.isNil();
            if (response.error() != nullptr)
                outcome.errorCode = response.error()->code;
            if (response.value() == nullptr)
                return;
            outcome.isExpectedRecord = *response.value() == record;
            outcome.record = printed(*response.value());
        };
        Quenmark::perform(row, query, handler, context);
    };
    return result;
}

/// The operations whose responses are records, by the area that they belong to.
std::vector<OperationCase> registrationOperations();
std::vector<OperationCase> uploadOperations();
std::vector<OperationCase> downloadOperations();
std::vector<OperationCase> synchronisationOperations();
std::vector<OperationCase> sharingOperations();
std::vector<OperationCase> sharingStreamOperations();

} // namespace ServicesTests
