#include "WebService/Operations/Delivery.h"

#include "WebService/Common/Log.h"
#include "WebService/Common/WireName.h"
#include "WebService/Outbox/OutboxRemoval.h"

#include <unistd.h>

#include <functional>
#include <system_error>

namespace webservice {

namespace {

void placing(const std::string& path, const std::function<void()>& place) {
    try {
        place();
    } catch (const std::system_error& error) {
        logLine("cannot put " + path + " into an outbox: " + error.what());
    }
}

std::string pathOf(std::int64_t computer, std::string_view name) {
    return std::to_string(computer) + '/' + outboxPath(name);
}

} // namespace

void Delivery::deliver(std::int64_t computer, const CloudFile& file, const std::optional<std::string>& name) {
    if (!name) {
        logLine(file.fullPath + " stays in the cloud: its name cannot be expressed on the wire");
        return;
    }
    withdrawDeletion(computer, *name);
    placing(*name, [&] {
        const std::string path = pathOf(computer, *name);
        const std::string link = incoming_.newPath();
        outbox_.makeFoldersOf(path);
        cloud_.link(file.id, link);
        outbox_.moveIn(link, path);
        // A rename onto another name of the same file does nothing (rename(2)): it is in its place already.
        ::unlink(link.c_str());
    });
}

Work<> Delivery::distribute(Computer from, CloudFile file) {
    for (const std::int64_t other : otherComputers(db_, from)) {
        co_await pause();
        deliver(other, file, file.name);
    }
}

void Delivery::makeFolder(std::int64_t computer, std::string_view name) {
    const std::string path = pathOf(computer, name);
    withdrawDeletion(computer, name);
    placing(path, [&] {
        outbox_.makeFoldersOf(path);
        outbox_.makeFolder(path);
    });
}

Work<> Delivery::remove(std::int64_t computer, std::string_view name) {
    co_await removeFromOutbox(outbox_, incoming_, pathOf(computer, name));
}

/// A computer that has not deleted the path yet must not do so once there is something new at it.
void Delivery::withdrawDeletion(std::int64_t computer, std::string_view name) {
    db_.run("UPDATE deletions SET state = 'done' WHERE computer = ?1 AND path = ?2 AND state = 'waiting'", computer,
            name);
}

} // namespace webservice
