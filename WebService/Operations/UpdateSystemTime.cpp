#include "WebService/Operations/UpdateSystemTime.h"

#include "WebService/Common/Log.h"
#include "WebService/Operations/Accounts.h"

#include <cstring>

namespace webservice {

namespace {

std::optional<std::string> latestVersion(Database& db) {
    std::optional<std::string> latest;
    for (Query row = db.query("SELECT DISTINCT version FROM computers WHERE version IS NOT NULL"); row.next();) {
        // strverscmp(3) compares the numbers in texts by their value.
        if (std::string version = row.text(0); !latest || ::strverscmp(latest->c_str(), version.c_str()) < 0)
            latest = std::move(version);
    }
    return latest;
}

} // namespace

boost::json::object updateComputerStatus(const Record& request, Database& db) {
    const Computer computer = requireComputer(db, request);
    db.run("UPDATE computers SET last_seen = ?2, version = coalesce(?3, version) WHERE id = ?1", computer.id,
           request.optional("DateTime").value_or(timestamp()), request.optional("VersionNumber"));
    boost::json::object response = success();
    response["VersionNumber"] = orNull(latestVersion(db));
    response["error"] = nullptr;
    return response;
}

} // namespace webservice
