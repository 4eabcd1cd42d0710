#include "Platform/Loop/Queue.h"

#include "Platform/Loop/RunLoop.h"

namespace Platform {

namespace {
std::shared_ptr<const std::string> makeLabel(std::string label) {
    return std::make_shared<const std::string>(std::move(label));
}
} // namespace

Queue Queue::main() {
    static const auto label = makeLabel("main");
    return Queue(label);
}

Queue Queue::global(Priority priority) {
    static const auto normal = makeLabel("global.default");
    static const auto background = makeLabel("global.background");
    return Queue(priority == Priority::Background ? background : normal);
}

Queue Queue::serial(std::string label) {
    return Queue(makeLabel(std::move(label)));
}

const std::string& Queue::label() const {
    return *label_;
}

void Queue::async(Task task) const {
    RunLoop::main().add(*this, std::move(task));
}

void Queue::after(Duration delay, Task task) const {
    RunLoop::main().addTimer(delay, *this, std::move(task));
}

} // namespace Platform
