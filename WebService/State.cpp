#include "WebService/State.h"

#include <fcntl.h>
#include <sys/file.h>

#include <filesystem>

namespace webservice {

namespace {

Descriptor lockFolder(const std::string& directory) {
    std::filesystem::create_directories(directory);
    Descriptor lock(::open((directory + "/lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (!lock) {
        throwErrno("cannot open " + directory + "/lock");
    }
    if (::flock(lock.get(), LOCK_EX | LOCK_NB) != 0) {
        throw StateInUse("another process works on " + directory);
    }
    return lock;
}

} // namespace

State::State(const std::string& directory)
    : directory_(directory), lock_(lockFolder(directory)), db(directory + "/state.db"), tree(directory + "/outbox"),
      ledger(db), watcher(tree, ledger, db), queue(tree, ledger) {
    std::filesystem::remove_all(directory_ + "/incoming");
    std::filesystem::create_directories(directory_ + "/incoming");
}

std::string State::incomingPath() {
    return directory_ + "/incoming/" + std::to_string(++incoming_);
}

} // namespace webservice
