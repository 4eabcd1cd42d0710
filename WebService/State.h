#pragma once

#include "WebService/Cloud.h"
#include "WebService/Descriptor.h"
#include "WebService/OutboxLedger.h"
#include "WebService/OutboxQueue.h"
#include "WebService/OutboxTree.h"
#include "WebService/OutboxWatcher.h"
#include "WebService/Schema.h"

#include <stdexcept>
#include <string>

namespace webservice {

// Another process works on the same folder.
class StateInUse : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Everything that the web service keeps, in one folder that belongs to one process at a time:
//   state.db    the SQLite database
//   outbox/     what the computers are to receive, COMPUTER/…
//   cloud/      contents that computers have streamed up
//   incoming/   files on their way in over HTTP; emptied at the start
//   lock        held while a process works on the folder
class State {
public:
    // Makes what is missing. Throws StateInUse, DatabaseError or std::system_error.
    explicit State(const std::string& directory);

    // A name in `incoming/` that no other file has.
    std::string incomingPath();

private:
    std::string directory_;
    Descriptor lock_;
    std::int64_t incoming_ = 0;

public:
    StateDatabase db;
    OutboxTree tree;
    OutboxLedger ledger;
    OutboxWatcher watcher;
    OutboxQueue queue;
    Cloud cloud;
};

} // namespace webservice
