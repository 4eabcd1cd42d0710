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

// The state holds passwords, so it is its owner's alone.
std::string privateFile(const std::string& path) {
    const Descriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (!file) {
        throwErrno("cannot open " + path);
    }
    return path;
}

} // namespace

State::State(const std::string& directory)
    : directory_(directory), lock_(lockFolder(directory)), db(privateFile(directory + "/state.db")),
      tree(directory + "/outbox"), ledger(db), watcher(tree, ledger, db), queue(tree, ledger),
      cloud(db, directory + "/cloud") {
    std::filesystem::remove_all(directory_ + "/incoming");
    std::filesystem::create_directories(directory_ + "/incoming");
}

std::string State::incomingPath() {
    return directory_ + "/incoming/" + std::to_string(++incoming_);
}

} // namespace webservice
