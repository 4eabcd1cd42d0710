// Any bytes as the body of a bus message, of any types, in either byte order, with two descriptors: it is read as a
// value or refused, and a value that was read comes back from its own message, and through value objects.
//
// The first byte of the input gives the byte order (bit 7) and the length of the message's signature, which follows;
// the rest is the body.

#include "Platform/Ipc/Message.h"
#include "XPCWrappers/XPCParse.h"

#include <systemd/sd-bus.h>

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <bit>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <span>
#include <string>

namespace {

using namespace Platform::Ipc;
using Bytes = std::vector<std::uint8_t>;

void require(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "%s\n", what);
        std::abort();
    }
}

/// Writes the fixed part of a message (D-Bus Specification, "Message Protocol").
class Marshaller {
public:
    explicit Marshaller(bool bigEndian) : bigEndian_(bigEndian) {}

    void byte(unsigned value) { bytes_.push_back(static_cast<std::uint8_t>(value)); }
    void number(std::size_t value) {
        align(4);
        for (int at = 0; at < 4; ++at)
            byte(static_cast<unsigned>(value >> (bigEndian_ ? 24 - 8 * at : 8 * at)) & 255U);
    }
    void align(std::size_t boundary) {
        while (bytes_.size() % boundary != 0)
            byte(0);
    }
    void text(std::string_view text, bool isSignature) {
        if (isSignature)
            byte(static_cast<unsigned>(text.size()));
        else
            number(text.size());
        append(std::as_bytes(std::span(text)));
        byte(0);
    }
    void append(std::span<const std::byte> bytes) {
        for (const auto value : bytes)
            byte(std::to_integer<unsigned>(value));
    }
    void field(unsigned code, char type) {
        align(8);
        byte(code);
        text(std::string_view(&type, 1), true);
    }
    Bytes& bytes() { return bytes_; }

private:
    bool bigEndian_;
    Bytes bytes_;
};

Bytes frame(bool bigEndian, std::string_view signature, std::span<const std::byte> body) {
    Marshaller fields(bigEndian);
    fields.field(1, 'o');
    fields.text("/o", false);
    fields.field(3, 's');
    fields.text("Message", false);
    fields.field(8, 'g');
    fields.text(signature, true);
    fields.field(9, 'u');
    fields.number(2);

    Marshaller message(bigEndian);
    message.byte(bigEndian ? 'B' : 'l');
    message.byte(SD_BUS_MESSAGE_METHOD_CALL);
    message.byte(1); // no reply expected
    message.byte(1);
    message.number(body.size());
    message.number(1);
    message.number(fields.bytes().size());
    message.append(std::as_bytes(std::span(fields.bytes())));
    message.align(8);
    message.append(body);
    return std::move(message.bytes());
}

struct Unreference {
    void operator()(sd_bus* bus) const { sd_bus_close_unref(bus); }
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
template <class Handle>
using Owned = std::unique_ptr<Handle, Unreference>;

/// The bus library at one end of a socket whose other end is written by hand.
class Receiver {
public:
    Receiver() {
        std::array<int, 2> ends{};
        require(::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()) == 0, "socketpair");
        otherEnd_ = Descriptor::adopt(ends[1]);
        sd_bus* bus = nullptr;
        require(sd_bus_new(&bus) >= 0, "sd_bus_new");
        bus_.reset(bus);
        sd_id128_t identifier{};
        identifier.bytes[0] = 1;
        require(sd_bus_set_fd(bus, ends[0], ends[0]) >= 0, "sd_bus_set_fd");
        require(sd_bus_set_server(bus, 1, identifier) >= 0, "sd_bus_set_server");
        require(sd_bus_set_anonymous(bus, 1) >= 0, "sd_bus_set_anonymous");
        require(sd_bus_negotiate_fds(bus, 1) >= 0, "sd_bus_negotiate_fds");
        require(sd_bus_start(bus) >= 0, "sd_bus_start");
        require(sd_bus_add_filter(bus, nullptr, take, &received_) >= 0, "sd_bus_add_filter");
        constexpr std::string_view greeting("\0AUTH ANONYMOUS\r\nNEGOTIATE_UNIX_FD\r\nBEGIN\r\n", 44);
        require(::write(otherEnd_.number(), greeting.data(), greeting.size()) == ssize_t{greeting.size()}, "write");
        process();
        require(sd_bus_is_ready(bus) > 0, "the greeting is not accepted");
    }

    sd_bus_message* receive(const Bytes& bytes) {
        send(bytes);
        process();
        return received_.get();
    }
    sd_bus* bus() { return bus_.get(); }

private:
    static int take(sd_bus_message* message, void* place, sd_bus_error*) {
        static_cast<Owned<sd_bus_message>*>(place)->reset(sd_bus_message_ref(message));
        return 1;
    }

    void process() {
        while (sd_bus_process(bus_.get(), nullptr) > 0) {
        }
    }

    void send(const Bytes& bytes) {
        static const int device = ::open("/dev/null", O_RDWR | O_CLOEXEC);
        const std::array<int, 2> descriptors{device, device};
        alignas(cmsghdr) std::array<char, CMSG_SPACE(sizeof descriptors)> control{};
        iovec content{const_cast<std::uint8_t*>(bytes.data()), bytes.size()};
        msghdr header{};
        header.msg_iov = &content;
        header.msg_iovlen = 1;
        header.msg_control = control.data();
        header.msg_controllen = control.size();
        cmsghdr* rights = CMSG_FIRSTHDR(&header);
        rights->cmsg_level = SOL_SOCKET;
        rights->cmsg_type = SCM_RIGHTS;
        rights->cmsg_len = CMSG_LEN(sizeof descriptors);
        std::memcpy(CMSG_DATA(rights), descriptors.data(), sizeof descriptors);
        require(::sendmsg(otherEnd_.number(), &header, MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size()), "sendmsg");
    }

    Descriptor otherEnd_;
    Owned<sd_bus_message> received_;
    Owned<sd_bus> bus_;
};

/// A value as text in which equal values are equal: bits for doubles, files for descriptors.
struct Describe {
    bool withDates = true;

    std::string operator()(Null) const { return "null"; }
    std::string operator()(bool value) const { return value ? "true" : "false"; }
    std::string operator()(std::int64_t value) const { return "x" + std::to_string(value); }
    std::string operator()(std::uint64_t value) const { return "t" + std::to_string(value); }
    std::string operator()(double value) const { return "d" + std::to_string(std::bit_cast<std::uint64_t>(value)); }
    std::string operator()(Date date) const { return withDates ? "@" + std::to_string(date.nanoseconds) : "@"; }
    std::string operator()(const Data& data) const { return "y" + std::string(data.begin(), data.end()) + "."; }
    std::string operator()(const std::string& text) const { return "\"" + text + "\""; }
    std::string operator()(const Uuid& uuid) const { return "u" + std::string(uuid.bytes.begin(), uuid.bytes.end()); }
    std::string operator()(const Descriptor& descriptor) const {
        struct stat status {};
        require(::fstat(descriptor.number(), &status) == 0, "a descriptor is not open");
        return "h" + std::to_string(status.st_rdev);
    }
    std::string operator()(const SharedMemory& memory) const {
        return (*this)(memory.descriptor) + "+" + std::to_string(memory.length);
    }
    std::string operator()(const Array& elements) const {
        std::string text = "[";
        for (const auto& element : elements)
            text += std::visit(*this, element.storage()) + ",";
        return text + "]";
    }
    std::string operator()(const Dictionary& dictionary) const {
        std::string text = "{";
        for (const auto& [name, value] : dictionary.entries())
            text += name + "=" + std::visit(*this, value.storage()) + ",";
        return text + "}";
    }
};

std::string describe(const Value& value) {
    return std::visit(Describe(), value.storage());
}
std::string describeWithoutDates(const Value& value) {
    return std::visit(Describe{false}, value.storage());
}

void comesBack(sd_bus* bus, const Value& value) {
    sd_bus_message* blank = nullptr;
    require(sd_bus_message_new_method_call(bus, &blank, nullptr, "/o", nullptr, "Message") >= 0, "new_method_call");
    const Owned<sd_bus_message> message(blank);
    if (const auto appended = appendVariant(*message, value); !appended) {
        // What was read may lie deeper, or hold more descriptors, than a message of ours.
        require(std::string_view(appended.error().errorName) == SD_BUS_ERROR_LIMITS_EXCEEDED,
                appended.error().text.c_str());
        return;
    }
    require(sd_bus_message_seal(blank, 1, 0) >= 0, "seal");
    const auto again = readValue(*blank);
    require(std::holds_alternative<Value>(again), "a value is refused on its way back");
    require(describe(std::get<Value>(again)) == describe(value), "a value has changed on its way");
}

void convertsSteadily(const Value& value) {
    using Quenmark::XPCParse::newXPCObject;
    using Quenmark::XPCParse::objectWithXPCObject;
    const auto object = objectWithXPCObject(value);
    if (!object)
        return;
    // Once through, false is a double, and what has no object is dropped.
    const auto once = newXPCObject(*object);
    require(once.has_value(), "an object has no value");
    const auto twice = newXPCObject(*objectWithXPCObject(*once));
    require(describeWithoutDates(*once) == describeWithoutDates(*twice), "a value object has changed on its way");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    const auto input = std::as_bytes(std::span(bytes, size));
    if (input.empty() || size > 4096)
        return 0;
    const bool bigEndian = (bytes[0] & 0x80) != 0;
    const std::size_t length = std::min<std::size_t>(bytes[0] & 0x7F, size - 1);
    const std::string signature(reinterpret_cast<const char*>(bytes) + 1, length);
    Receiver receiver;
    sd_bus_message* message = receiver.receive(frame(bigEndian, signature, input.subspan(1 + length)));
    if (message == nullptr)
        return 0; // The library refuses it before anybody sees it.
    const auto result = readValue(*message);
    if (const auto* refused = std::get_if<MessageFailure>(&result)) {
        require(!refused->text.empty(), "a message is refused without a reason");
        return 0;
    }
    comesBack(receiver.bus(), std::get<Value>(result));
    convertsSteadily(std::get<Value>(result));
    return 0;
}
