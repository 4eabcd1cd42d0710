#pragma once

#include "WebService/Common/Work.h"
#include "WebService/Console/Console.h"
#include "WebService/Faults/FaultPlan.h"
#include "WebService/Http/Exchange.h"
#include "WebService/Outbox/OutboxLedger.h"
#include "WebService/Outbox/OutboxTree.h"
#include "WebService/Outbox/OutboxWatcher.h"
#include "WebService/Storage/Cloud.h"
#include "WebService/Storage/IncomingFile.h"

#include <boost/json.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace webservice {

/// What the interface shows and changes.
struct ApiParts {
    Console& console;
    FaultPlan& plan;
    Database& db;
    OutboxTree& tree;
    OutboxLedger& ledger;
    OutboxWatcher& watcher;
    Cloud& cloud;
    IncomingFolder& incoming;
};

/// A request of the interface.
struct ApiCall {
    /// The service's own, "http://127.0.0.1:8080".
    std::string address;
    /// The decoded part of the path that varies; empty where none does.
    std::string variable;
    std::string query;

    /// The decoded value of a parameter. Throws RequestError "BadQuery" where it is malformed or not UTF-8.
    std::optional<std::string> parameter(std::string_view name) const;

    /// The same, of a number that is not negative.
    std::optional<std::int64_t> number(std::string_view name) const;

    /// `limit`: how many entries a list has at most.
    std::int64_t limit() const;

    /// `variable` as the identifier of something; throws RequestError with this code where it cannot be one.
    std::int64_t id(std::string_view unknown) const;
};

/// What responds to one method of a path. Where it works on the state, it does so in slices that are transactions.
struct ApiRoute {
    std::string_view method;
    /// With "{}" in place of the part that varies.
    std::string_view path;
    bool usesState;
    Work<Response> (*handle)(ApiParts parts, ApiCall call);
};

/// A route and what its variable stands for.
struct ApiMatch {
    const ApiRoute& route;
    std::string variable;
};

/// Throws RequestError "UnknownPath" or "WrongMethod".
ApiMatch findRoute(std::string_view method, std::string_view path);

/// A response of status 200 with a list of the state: {"<name>":[…],"next":…}.
Response listResponse(std::string_view name, boost::json::array list, boost::json::value next);

} // namespace webservice
