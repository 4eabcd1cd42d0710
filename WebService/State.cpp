#include "WebService/State.h"

#include <fcntl.h>
#include <sys/file.h>

#include <filesystem>

namespace webservice {

namespace {

Descriptor lockFolder(const std::string& directory) {
    std::filesystem::create_directories(directory);
    Descriptor lock(::open((directory + "/lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (!lock)
        throwErrno("cannot open " + directory + "/lock");
    if (::flock(lock.get(), LOCK_EX | LOCK_NB) != 0)
        throw StateInUse("another process works on " + directory);
    return lock;
}

/// The state holds hashes of passwords and mailed links, so it is its owner's alone.
Descriptor privateFile(const std::string& path) {
    Descriptor file(::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (!file)
        throwErrno("cannot open " + path);
    return file;
}

bool isStillAt(const Descriptor& file, const std::string& path) {
    struct stat named {};
    struct stat opened {};
    return ::stat(path.c_str(), &named) == 0 && ::fstat(file.get(), &opened) == 0 && named.st_dev == opened.st_dev &&
           named.st_ino == opened.st_ino;
}

} // namespace

State::State(const std::string& directory, std::chrono::milliseconds busyTimeout)
    : directory_(directory), lock_(lockFolder(directory)), database_(privateFile(directory + "/state.db")),
      db(directory + "/state.db", busyTimeout), group(db), tree(directory + "/outbox"), ledger(db),
      watcher(tree, ledger, db), queue(tree, ledger), cloud(db, directory + "/cloud"),
      incoming(directory + "/incoming"), delivery(db, cloud, tree, incoming) {}

void State::requireCurrent() const {
    if (!isStillAt(lock_, directory_ + "/lock") || !isStillAt(database_, directory_ + "/state.db"))
        throw StateLost(directory_ + " was removed or replaced while the service worked on it; start the service anew");
}

} // namespace webservice
