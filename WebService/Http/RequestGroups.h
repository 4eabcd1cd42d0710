#pragma once

#include "WebService/Http/Exchange.h"

#include <exception>
#include <memory>

namespace webservice {

/// Groups the requests that are processed in one turn of the loop, so that the application stores their changes
/// together.
class RequestGroups {
public:
    /// A group; the first of its requests to complete ends it.
    struct Group {
        bool hasEnded = false;
        std::exception_ptr failure = nullptr; // where its changes could not be stored
    };

    explicit RequestGroups(Application& application) : application_(application) {}

    /// The group of the requests that are processed now.
    std::shared_ptr<Group> join() {
        if (!current_ || current_->hasEnded) {
            current_ = std::make_shared<Group>();
            application_.beginGroup();
        }
        return current_;
    }

    /// Stores the changes of a group, unless that is done.
    void end(Group& group) {
        if (group.hasEnded)
            return;
        group.hasEnded = true;
        try {
            application_.endGroup();
        } catch (...) {
            group.failure = std::current_exception();
        }
    }

private:
    Application& application_;
    std::shared_ptr<Group> current_;
};

} // namespace webservice
