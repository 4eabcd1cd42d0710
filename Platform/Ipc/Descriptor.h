#pragma once

#include "Platform/Files/FileDescriptor.h"

#include <memory>
#include <optional>

namespace Platform::Ipc {

/// An open file descriptor that its holders share; the last of them closes it. Equal to its copies alone, never to a
/// duplicate.
class Descriptor {
public:
    /// No descriptor; its number is -1.
    Descriptor() = default;
    /// Takes over an open descriptor from the caller, who must not close it any more.
    static Descriptor adopt(int number);
    /// A duplicate of an open descriptor, closed on exec (fcntl(2), F_DUPFD_CLOEXEC); nil where that fails.
    static std::optional<Descriptor> duplicate(int number);

    int number() const { return shared_ ? shared_->get() : -1; }
    explicit operator bool() const { return number() >= 0; }
    bool operator==(const Descriptor&) const = default;

private:
    explicit Descriptor(std::shared_ptr<const FileDescriptor> shared) : shared_(std::move(shared)) {}
    std::shared_ptr<const FileDescriptor> shared_;
};

} // namespace Platform::Ipc
