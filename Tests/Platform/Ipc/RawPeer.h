#pragma once

#include "Platform/Files/FileDescriptor.h"

#include <cstddef>
#include <string>
#include <string_view>

namespace IpcTests {

/// A program that speaks to the bus with no library, byte by byte, and may stop or talk nonsense anywhere.
class RawPeer {
public:
    /// Connects to the bus's socket, and says nothing yet.
    explicit RawPeer(const std::string& socketPath);

    /// Authenticates and says Hello (D-Bus Specification, "Authentication Protocol" and "Message Bus Messages").
    void introduceItself();
    /// Writes bytes as they are; says whether the bus took them all.
    bool write(std::string_view bytes) const;
    /// Waits until the bus has closed the connection.
    bool isDropped() const;

    /// A method call's bytes, with a variant as its argument that holds a string of `size` letters. Nobody needs to
    /// reply. `size` 0 leaves the argument out.
    static std::string call(const std::string& destination, const std::string& objectPath, const std::string& interface,
                            const std::string& method, std::size_t size);

private:
    Platform::FileDescriptor socket_;
};

} // namespace IpcTests
