#include "Platform/Ipc/ErrorNames.h"
#include "Platform/Ipc/Message.h"
#include "Platform/Utf8.h"

#include <systemd/sd-bus.h>

#include <cerrno>
#include <cstring>

namespace Platform::Ipc {

namespace {

/// More than the header of a message and the padding of a value take.
constexpr std::size_t headerSize = 4096;
constexpr std::size_t valueOverhead = 24;

/// Leaves the writing of a message; it never leaves this file.
struct UnwritableValue {
    MessageFailure failure;
};

[[noreturn]] void refuse(const char* errorName, std::string text) {
    throw UnwritableValue{{errorName, std::move(text)}};
}

void check(int result) {
    if (result < 0)
        refuse(ErrorName::failed, std::string("a value cannot be written (") + std::strerror(-result) + ")");
}

class Writer {
public:
    explicit Writer(sd_bus_message& message) : message_(&message) {}

    void variant(const Value& value, int depth) {
        checkRoom(1);
        ++values_;
        const auto write = [&](const auto& content) {
            open(SD_BUS_TYPE_VARIANT, signature(content), depth);
            append(content, depth + 1);
            close();
        };
        std::visit(write, value.storage());
    }

    void property(const PropertyValue& value) {
        std::visit([this](const auto& content) { append(content, 0); }, value);
    }

private:
    static const char* signature(bool) { return "b"; }
    static const char* signature(std::int64_t) { return "x"; }
    static const char* signature(std::uint64_t) { return "t"; }
    static const char* signature(double) { return "d"; }
    static const char* signature(const Data&) { return "ay"; }
    static const char* signature(const std::string&) { return "s"; }
    static const char* signature(const Descriptor&) { return "h"; }
    static const char* signature(const Array&) { return "av"; }
    static const char* signature(const Dictionary&) { return "a{sv}"; }
    /// The kinds that the bus does not have.
    template <class Kind>
    static const char* signature(const Kind&) {
        return "(sv)";
    }

    void checkRoom(std::size_t values) const {
        if (values > maximumValues - values_)
            refuse(ErrorName::limitsExceeded, "more than " + std::to_string(maximumValues) + " values for one message");
    }

    void open(char type, const char* contents, int depth) {
        if (depth >= maximumDepth)
            refuse(ErrorName::limitsExceeded, "containers nest deeper than " + std::to_string(maximumDepth));
        check(sd_bus_message_open_container(message_, type, contents));
    }
    void close() { check(sd_bus_message_close_container(message_)); }

    void count(std::size_t bytes) {
        size_ += bytes + valueOverhead;
        if (size_ > maximumMessageSize - headerSize)
            refuse(ErrorName::limitsExceeded, "a message is larger than 128 MiB");
    }

    static void checkArray(std::size_t bytes) {
        if (bytes > maximumArraySize)
            refuse(ErrorName::limitsExceeded, "an array is larger than 64 MiB");
    }

    template <class Scalar>
    void basic(char type, Scalar value) {
        count(sizeof value);
        check(sd_bus_message_append_basic(message_, type, &value));
    }

    void string(const std::string& text) {
        count(text.size());
        const std::size_t invalid = std::min(firstInvalidUtf8(text), text.find('\0'));
        if (invalid != std::string::npos)
            refuse(ErrorName::invalidArguments,
                   "byte " + std::to_string(invalid) + " of a string is zero or no part of well-formed UTF-8");
        check(sd_bus_message_append_basic(message_, SD_BUS_TYPE_STRING, text.c_str()));
    }

    void append(bool value, int) { basic<int>(SD_BUS_TYPE_BOOLEAN, value ? 1 : 0); }
    void append(std::int64_t value, int) { basic(SD_BUS_TYPE_INT64, value); }
    void append(std::uint64_t value, int) { basic(SD_BUS_TYPE_UINT64, value); }
    void append(double value, int) { basic(SD_BUS_TYPE_DOUBLE, value); }
    void append(const std::string& value, int) { string(value); }
    void append(const Data& value, int) { bytes(value.data(), value.size()); }

    void bytes(const std::uint8_t* first, std::size_t size) {
        count(size);
        checkArray(size);
        check(sd_bus_message_append_array(message_, SD_BUS_TYPE_BYTE, first, size));
    }

    void append(const Descriptor& descriptor, int) {
        if (!descriptor)
            refuse(ErrorName::invalidArguments, "there is no descriptor to send");
        if (++descriptors_ > maximumDescriptorsSent)
            refuse(ErrorName::limitsExceeded,
                   "more than " + std::to_string(maximumDescriptorsSent) + " descriptors for one message");
        basic(SD_BUS_TYPE_UNIX_FD, descriptor.number());
    }

    /// An array of that type of elements, which `content` appends.
    template <class Content>
    void array(const char* type, int depth, const Content& content) {
        open(SD_BUS_TYPE_ARRAY, type, depth);
        const std::size_t start = size_;
        content();
        checkArray(size_ - start);
        close();
    }

    void append(const Array& elements, int depth) {
        checkRoom(elements.size());
        array("v", depth, [&] {
            for (const auto& element : elements)
                variant(element, depth + 1);
        });
    }

    void append(const Dictionary& dictionary, int depth) {
        checkRoom(dictionary.entries().size());
        array("{sv}", depth, [&] {
            for (const auto& [name, value] : dictionary.entries()) {
                open(SD_BUS_TYPE_DICT_ENTRY, "sv", depth + 1);
                string(name);
                variant(value, depth + 2);
                close();
            }
        });
    }

    void append(const Dictionaries& dictionaries, int depth) {
        array("a{sv}", depth, [&] {
            for (const auto& dictionary : dictionaries)
                append(dictionary, depth + 1);
        });
    }

    template <class Content>
    void named(const char* name, const char* type, int depth, const Content& content) {
        open(SD_BUS_TYPE_STRUCT, "sv", depth);
        string(name);
        open(SD_BUS_TYPE_VARIANT, type, depth + 1);
        content();
        close();
        close();
    }

    void append(Null, int depth) {
        named("null", "y", depth, [this] { basic(SD_BUS_TYPE_BYTE, std::uint8_t{0}); });
    }
    void append(Date date, int depth) {
        named("date", "x", depth, [&] { basic(SD_BUS_TYPE_INT64, date.nanoseconds); });
    }
    void append(const Uuid& uuid, int depth) {
        named("uuid", "ay", depth, [&] { bytes(uuid.bytes.data(), uuid.bytes.size()); });
    }
    void append(const SharedMemory& memory, int depth) {
        named("shmem", "(ht)", depth, [&] {
            open(SD_BUS_TYPE_STRUCT, "ht", depth + 2);
            append(memory.descriptor, depth + 3);
            basic(SD_BUS_TYPE_UINT64, memory.length);
            close();
        });
    }

    sd_bus_message* message_;
    std::size_t values_ = 0;
    std::size_t size_ = 0;
    std::size_t descriptors_ = 0;
};

template <class Write>
WriteResult written(const Write& write) {
    try {
        write();
        return {};
    } catch (const UnwritableValue& refusal) {
        return refusal.failure;
    }
}

} // namespace

WriteResult appendVariant(sd_bus_message& message, const Value& value) {
    return written([&] { Writer(message).variant(value, 0); });
}

WriteResult appendProperty(sd_bus_message& message, const PropertyValue& value) {
    return written([&] { Writer(message).property(value); });
}

} // namespace Platform::Ipc
