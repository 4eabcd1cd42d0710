#include "WebService/Outbox/OutboxQueue.h"

namespace webservice {

namespace {

/// Where a computer has more files than this that are being written to, the response is that nothing is pending, and
/// the computer polls again.
constexpr int maxSkipped = 500;

} // namespace

std::optional<Upload> OutboxQueue::offerNext(std::string_view computer) {
    std::int64_t position = -1;
    for (int skipped = 0; skipped < maxSkipped; ++skipped) {
        const auto upload = ledger_.nextPending(computer, position);
        if (!upload)
            break;
        const auto status = tree_.status(upload->outboxPath());
        if (!status || (upload->isFile ? !S_ISREG(status->st_mode) : !S_ISDIR(status->st_mode))) {
            ledger_.removeItem(upload->computer, upload->name);
        } else if (!upload->isFile || openFile(*upload)) {
            ledger_.offer(*upload);
            return upload;
        }
    }
    return std::nullopt;
}

std::optional<Upload> OutboxQueue::current(std::string_view computer) {
    auto upload = ledger_.offered(computer);
    if (!upload)
        return offerNext(computer);
    if (!upload->pending)
        ledger_.clearOffer(computer);
    return upload;
}

Descriptor OutboxQueue::openFile(const Upload& upload) const {
    Descriptor file = tree_.open(upload.outboxPath());
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
        writersOf(file.get()) == Writers::Some)
        return {};
    return file;
}

} // namespace webservice
