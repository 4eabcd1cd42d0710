#include "WebService/OutboxQueue.h"

namespace webservice {

std::optional<Upload> OutboxQueue::offerTop(std::string_view computer) {
    std::int64_t position = -1;
    while (auto upload = ledger_.nextPending(computer, position)) {
        const auto status = tree_.status(upload->outboxPath());
        if (!status || (upload->isFile ? !S_ISREG(status->st_mode) : !S_ISDIR(status->st_mode))) {
            ledger_.gone(upload->computer, upload->name);
        } else if (!upload->isFile || openFile(*upload)) {
            ledger_.offer(*upload);
            return upload;
        }
    }
    return std::nullopt;
}

std::optional<Upload> OutboxQueue::current(std::string_view computer) {
    auto upload = ledger_.offered(computer);
    if (!upload) {
        return offerTop(computer);
    }
    if (!upload->pending) {
        ledger_.forgetOffer(computer);
    }
    return upload;
}

Descriptor OutboxQueue::openFile(const Upload& upload) const {
    Descriptor file = tree_.open(upload.outboxPath());
    struct stat status {};
    if (!file || ::fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode) ||
        writersOf(file.get()) == Writers::Some) {
        return {};
    }
    return file;
}

} // namespace webservice
