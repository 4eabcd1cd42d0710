#include "WebService/Storage/GroupTransaction.h"

#include <utility>

namespace webservice {

void GroupTransaction::begin() {
    failure_ = nullptr;
    try {
        if (auto transaction = Transaction::ifUnlocked(db_))
            transaction_.emplace(std::move(*transaction));
    } catch (const DatabaseError&) {
        // The requests meet the same error.
    }
}

void GroupTransaction::store() {
    if (!transaction_)
        return;
    Transaction transaction = std::move(*transaction_);
    transaction_.reset();
    try {
        transaction.commit();
    } catch (...) {
        failure_ = std::current_exception();
        throw;
    }
}

void GroupTransaction::end() {
    store();
    if (failure_)
        std::rethrow_exception(std::exchange(failure_, nullptr));
}

} // namespace webservice
