#include "RawPeer.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <stdexcept>

namespace IpcTests {

namespace {

constexpr int patience = 60'000; // milliseconds

/// Writes in the byte order of this machine, which the message says is little-endian.
class Marshaller {
public:
    void byte(unsigned value) { bytes_ += static_cast<char>(value); }
    void number(std::size_t value) {
        align(4);
        for (int shift = 0; shift < 32; shift += 8)
            byte(static_cast<unsigned>(value >> shift) & 255U);
    }
    void align(std::size_t boundary) { bytes_.resize((bytes_.size() + boundary - 1) / boundary * boundary); }
    void string(const std::string& text) {
        number(text.size());
        bytes_ += text;
        byte(0);
    }
    void signature(const std::string& text) {
        byte(static_cast<unsigned>(text.size()));
        bytes_ += text;
        byte(0);
    }
    void field(unsigned code, const char* type, const std::string& text) {
        align(8);
        byte(code);
        signature(type);
        if (*type == 'g')
            signature(text);
        else
            string(text);
    }
    std::string& bytes() { return bytes_; }

private:
    std::string bytes_;
};

} // namespace

RawPeer::RawPeer(const std::string& socketPath) : socket_(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (socketPath.size() >= sizeof address.sun_path)
        throw std::runtime_error("the bus's path is too long");
    std::memcpy(address.sun_path, socketPath.c_str(), socketPath.size());
    if (::connect(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        throw std::runtime_error("the bus takes no connection");
}

void RawPeer::introduceItself() {
    std::string user;
    for (const char digit : std::to_string(::getuid()))
        (user += '3') += digit;
    write(std::string_view("\0", 1));
    write("AUTH EXTERNAL " + user + "\r\nBEGIN\r\n");
    write(call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "Hello", 0));
    // The greeting and the reply to Hello; what follows is of no interest here.
    std::string reply;
    while (reply.find("NameAcquired") == std::string::npos) {
        pollfd ready{socket_.get(), POLLIN, 0};
        std::array<char, 4096> piece{};
        const auto count = ::poll(&ready, 1, patience) > 0 ? ::read(socket_.get(), piece.data(), piece.size()) : 0;
        if (count <= 0)
            throw std::runtime_error("the bus does not reply");
        reply.append(piece.data(), static_cast<std::size_t>(count));
    }
}

bool RawPeer::write(std::string_view bytes) const {
    while (!bytes.empty()) {
        const auto count = ::send(socket_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

bool RawPeer::isDropped() const {
    while (true) {
        pollfd ready{socket_.get(), POLLIN, 0};
        std::array<char, 4096> piece{};
        if (::poll(&ready, 1, patience) <= 0)
            return false;
        const auto count = ::read(socket_.get(), piece.data(), piece.size());
        if (count == 0 || (count < 0 && errno != EINTR))
            return true;
    }
}

std::string RawPeer::call(const std::string& destination, const std::string& objectPath, const std::string& interface,
                          const std::string& method, std::size_t size) {
    Marshaller body;
    if (size != 0) {
        body.signature("s");
        body.string(std::string(size, 'a'));
    }
    Marshaller fields;
    fields.field(1, "o", objectPath);
    fields.field(2, "s", interface);
    fields.field(3, "s", method);
    fields.field(6, "s", destination);
    if (size != 0)
        fields.field(8, "g", "v");
    Marshaller message;
    message.byte('l');
    message.byte(1);                         // a method call
    message.byte(method == "Hello" ? 0 : 1); // that nobody needs to reply to
    message.byte(1);
    message.number(body.bytes().size());
    message.number(1);
    message.number(fields.bytes().size());
    message.bytes() += fields.bytes();
    message.align(8);
    message.bytes() += body.bytes();
    return std::move(message.bytes());
}

} // namespace IpcTests
