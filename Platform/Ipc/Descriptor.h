#pragma once

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

    int number() const;
    explicit operator bool() const { return number() >= 0; }
    bool operator==(const Descriptor&) const = default;

private:
    class Owner;
    explicit Descriptor(std::shared_ptr<const Owner> owner) : owner_(std::move(owner)) {}
    std::shared_ptr<const Owner> owner_;
};

} // namespace Platform::Ipc
