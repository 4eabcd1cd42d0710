#pragma once

#include "WebService/Common/Descriptor.h"
#include "WebService/Operations/Delivery.h"
#include "WebService/Outbox/OutboxLedger.h"
#include "WebService/Outbox/OutboxQueue.h"
#include "WebService/Outbox/OutboxTree.h"
#include "WebService/Outbox/OutboxWatcher.h"
#include "WebService/Storage/Cloud.h"
#include "WebService/Storage/GroupTransaction.h"
#include "WebService/Storage/IncomingFile.h"
#include "WebService/Storage/Schema.h"

#include <chrono>
#include <stdexcept>
#include <string>
#include <tuple>

namespace webservice {

/// Another process uses the same folder.
class StateInUse : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The folder of the state, or the database in it, no longer exists.
class StateLost : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Everything that the web service stores, in one folder that belongs to one process at a time:
///   state.db    the SQLite database
///   outbox/     what the computers are to receive, COMPUTER/…
///   cloud/      contents that computers have streamed up
///   incoming/   files that are being received over HTTP; emptied at the start
///   lock        locked while a process uses the folder
/// What is removed at run time is created again, except for the folder itself and the database: without them, the state
/// could not be stored.
class State {
public:
    /// Creates what is missing. `busyTimeout` is how long a database that another process has locked is waited for, at
    /// the start and by every request. Throws StateInUse, DatabaseError or std::system_error.
    explicit State(const std::string& directory, std::chrono::milliseconds busyTimeout = std::chrono::seconds(5));

    /// Throws StateLost when the folder or the database has been removed or replaced by another one.
    void requireCurrent() const;

    /// The part of the type, for those who use that part alone.
    template <typename Part>
    Part& part() {
        return std::get<Part&>(
            std::tuple<Database&, OutboxLedger&, OutboxQueue&, Cloud&, Delivery&>(db, ledger, queue, cloud, delivery));
    }

private:
    std::string directory_;
    Descriptor lock_;
    Descriptor database_;

public:
    StateDatabase db;
    GroupTransaction group;
    OutboxTree tree;
    OutboxLedger ledger;
    OutboxWatcher watcher;
    OutboxQueue queue;
    Cloud cloud;
    IncomingFolder incoming;
    Delivery delivery;
};

} // namespace webservice
