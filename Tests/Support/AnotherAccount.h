#pragma once

#include "Platform/Files/FileDescriptor.h"

#include <string>

namespace TestSupport {

/// A file or folder that belongs to another account, for as long as this object lives.
///
/// Root gives it away (chown(2)). Nobody else can: there, this process's fstat(2) and fstatat(2) tell another owner of
/// what is otherwise as it was.
class OfAnotherAccount {
public:
    /// Throws std::system_error where there is nothing at `path`, or it cannot be given away.
    explicit OfAnotherAccount(const std::string& path);
    ~OfAnotherAccount();
    OfAnotherAccount(const OfAnotherAccount&) = delete;
    OfAnotherAccount& operator=(const OfAnotherAccount&) = delete;

private:
    /// Keeps the inode's number from being used anew.
    Platform::FileDescriptor item_;
};

} // namespace TestSupport
