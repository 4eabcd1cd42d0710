#include "Platform/Ipc/ErrorNames.h"
#include "Platform/Ipc/Message.h"

#include <systemd/sd-bus.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <optional>
#include <span>
#include <unordered_map>

namespace Platform::Ipc {

namespace {

/// Leaves the reading of a message; it never leaves this file.
struct UnreadableMessage {
    MessageFailure failure;
};

[[noreturn]] void refuse(std::string text) {
    throw UnreadableMessage{{ErrorName::invalidArguments, std::move(text)}};
}
[[noreturn]] void refuseAsTooMuch(std::string text) {
    throw UnreadableMessage{{ErrorName::limitsExceeded, std::move(text)}};
}

int checked(int result) {
    if (result < 0)
        refuse(std::string("the message is damaged (") + std::strerror(-result) + ")");
    return result;
}

std::string quoted(std::string_view text) {
    return '"' + std::string(text) + '"';
}

class Reader {
public:
    explicit Reader(sd_bus_message& message) : message_(&message) {}

    Value read(int depth) {
        const auto [type, contents] = next();
        count(1);
        const bool isContainer = type == SD_BUS_TYPE_ARRAY || type == SD_BUS_TYPE_VARIANT || type == SD_BUS_TYPE_STRUCT;
        if (!isContainer)
            return basic(type);
        if (depth == maximumDepth)
            refuseAsTooMuch("containers nest deeper than " + std::to_string(maximumDepth));
        switch (type) {
        case SD_BUS_TYPE_ARRAY:
            return array(contents, depth + 1);
        case SD_BUS_TYPE_VARIANT:
            --values_; // A variant is no value of its own: what is in it counts.
            return variant(contents, depth + 1);
        default:
            return structure(contents);
        }
    }

private:
    struct Type {
        char code;
        std::string contents;
    };

    void count(std::size_t values) {
        values_ += values;
        if (values_ > maximumValues)
            refuseAsTooMuch("more than " + std::to_string(maximumValues) + " values in one message");
    }

    Type next() const {
        char code = 0;
        const char* contents = nullptr;
        if (checked(sd_bus_message_peek_type(message_, &code, &contents)) == 0)
            refuse("a value is missing");
        return {code, contents == nullptr ? "" : contents};
    }
    bool atEnd() const {
        char code = 0;
        return checked(sd_bus_message_peek_type(message_, &code, nullptr)) == 0;
    }
    void enter(char type, const std::string& contents) const {
        if (checked(sd_bus_message_enter_container(message_, type, contents.c_str())) == 0)
            refuse("a container is missing");
    }
    void leave() const { checked(sd_bus_message_exit_container(message_)); }

    template <class Result>
    Result scalar(char type) const {
        Result result{};
        checked(sd_bus_message_read_basic(message_, type, &result));
        return result;
    }
    std::string string(char type) const {
        const char* result = nullptr;
        checked(sd_bus_message_read_basic(message_, type, &result));
        return result;
    }

    Value basic(char type) {
        switch (type) {
        case SD_BUS_TYPE_BOOLEAN:
            return scalar<int>(type) != 0;
        case SD_BUS_TYPE_INT16:
            return std::int64_t{scalar<std::int16_t>(type)};
        case SD_BUS_TYPE_INT32:
            return std::int64_t{scalar<std::int32_t>(type)};
        case SD_BUS_TYPE_INT64:
            return scalar<std::int64_t>(type);
        case SD_BUS_TYPE_BYTE:
            return std::uint64_t{scalar<std::uint8_t>(type)};
        case SD_BUS_TYPE_UINT16:
            return std::uint64_t{scalar<std::uint16_t>(type)};
        case SD_BUS_TYPE_UINT32:
            return std::uint64_t{scalar<std::uint32_t>(type)};
        case SD_BUS_TYPE_UINT64:
            return scalar<std::uint64_t>(type);
        case SD_BUS_TYPE_DOUBLE:
            return scalar<double>(type);
        case SD_BUS_TYPE_STRING:
        case SD_BUS_TYPE_OBJECT_PATH:
        case SD_BUS_TYPE_SIGNATURE:
            return string(type);
        case SD_BUS_TYPE_UNIX_FD:
            return descriptor();
        default:
            refuse(std::string("type ") + type + " has no meaning here");
        }
    }

    /// A message may name one of its descriptors many times; it is duplicated once.
    Descriptor descriptor() {
        const int number = scalar<int>(SD_BUS_TYPE_UNIX_FD);
        const auto known = descriptors_.find(number);
        if (known != descriptors_.end())
            return known->second;
        if (descriptors_.size() == maximumDescriptorsRead)
            refuseAsTooMuch("more than " + std::to_string(maximumDescriptorsRead) + " descriptors in one message");
        auto copy = Descriptor::duplicate(number);
        if (!copy)
            refuseAsTooMuch(std::string("a descriptor cannot be kept (") + std::strerror(errno) + ")");
        return descriptors_.emplace(number, std::move(*copy)).first->second;
    }

    Data data() const {
        const void* bytes = nullptr;
        std::size_t size = 0;
        const int result = sd_bus_message_read_array(message_, SD_BUS_TYPE_BYTE, &bytes, &size);
        if (result == -EOPNOTSUPP)
            return dataByByte();
        checked(result);
        const auto* first = static_cast<const std::uint8_t*>(bytes);
        return size == 0 ? Data() : Data(first, first + size);
    }

    /// The library hands out no whole array of a message in the other byte order, be it one of bytes.
    Data dataByByte() const {
        Data bytes;
        enter(SD_BUS_TYPE_ARRAY, "y");
        while (!atEnd())
            bytes.push_back(scalar<std::uint8_t>(SD_BUS_TYPE_BYTE));
        leave();
        return bytes;
    }

    /// The elements of an array of numbers, which lie in the message one after the other; nil where the library hands
    /// out no whole array.
    template <class Wide, class Number>
    std::optional<Array> numbers(char type) {
        const void* bytes = nullptr;
        std::size_t size = 0;
        const int result = sd_bus_message_read_array(message_, type, &bytes, &size);
        if (result == -EOPNOTSUPP)
            return std::nullopt;
        checked(result);
        count(size / sizeof(Number));
        const std::span elements(static_cast<const Number*>(bytes), size / sizeof(Number));
        Array array;
        array.reserve(elements.size());
        for (const Number element : elements)
            array.emplace_back(Wide{element});
        return array;
    }

    std::optional<Array> numbers(const std::string& contents) {
        if (contents == "n")
            return numbers<std::int64_t, std::int16_t>(SD_BUS_TYPE_INT16);
        if (contents == "i")
            return numbers<std::int64_t, std::int32_t>(SD_BUS_TYPE_INT32);
        if (contents == "x")
            return numbers<std::int64_t, std::int64_t>(SD_BUS_TYPE_INT64);
        if (contents == "q")
            return numbers<std::uint64_t, std::uint16_t>(SD_BUS_TYPE_UINT16);
        if (contents == "u")
            return numbers<std::uint64_t, std::uint32_t>(SD_BUS_TYPE_UINT32);
        if (contents == "t")
            return numbers<std::uint64_t, std::uint64_t>(SD_BUS_TYPE_UINT64);
        if (contents == "d")
            return numbers<double, double>(SD_BUS_TYPE_DOUBLE);
        return std::nullopt;
    }

    Value array(const std::string& contents, int depth) {
        if (contents == "y")
            return data();
        if (auto whole = numbers(contents))
            return std::move(*whole);
        if (contents.starts_with(SD_BUS_TYPE_DICT_ENTRY_BEGIN))
            return dictionary(contents, depth);
        Array elements;
        enter(SD_BUS_TYPE_ARRAY, contents);
        while (!atEnd())
            elements.push_back(read(depth));
        leave();
        return elements;
    }

    Value dictionary(const std::string& contents, int depth) {
        const char nameType = contents.at(1);
        if (nameType != SD_BUS_TYPE_STRING && nameType != SD_BUS_TYPE_OBJECT_PATH && nameType != SD_BUS_TYPE_SIGNATURE)
            refuse(std::string("a dictionary has names of type ") + nameType + ", which are no strings");
        if (depth == maximumDepth)
            refuseAsTooMuch("containers nest deeper than " + std::to_string(maximumDepth));
        std::vector<DictionaryEntry> entries;
        enter(SD_BUS_TYPE_ARRAY, contents);
        while (!atEnd()) {
            enter(SD_BUS_TYPE_DICT_ENTRY, contents.substr(1, contents.size() - 2));
            std::string name = string(nameType);
            entries.push_back({std::move(name), read(depth + 1)});
            leave();
        }
        leave();
        return Dictionary(std::move(entries));
    }

    Value variant(const std::string& contents, int depth) {
        enter(SD_BUS_TYPE_VARIANT, contents);
        Value content = read(depth);
        leave();
        return content;
    }

    Value structure(const std::string& contents) {
        if (contents != "sv")
            refuse("a structure (" + contents + ") has no meaning here");
        enter(SD_BUS_TYPE_STRUCT, contents);
        const std::string name = string(SD_BUS_TYPE_STRING);
        const std::string content = next().contents;
        Value result = named(name, content);
        leave();
        return result;
    }

    /// The content of the structure of that name, which must be of the type that the name calls for.
    Value named(const std::string& name, const std::string& type) {
        const auto expect = [&](const char* expected) {
            if (type != expected)
                refuse("a structure named " + quoted(name) + " has content of type " + type + " instead of " +
                       expected);
            enter(SD_BUS_TYPE_VARIANT, type);
        };
        Value result;
        if (name == "date") {
            expect("x");
            result = Date{scalar<std::int64_t>(SD_BUS_TYPE_INT64)};
        } else if (name == "uuid") {
            expect("ay");
            result = uuid();
        } else if (name == "null") {
            expect("y");
            if (scalar<std::uint8_t>(SD_BUS_TYPE_BYTE) != 0)
                refuse("a null is not 0");
        } else if (name == "shmem") {
            expect("(ht)");
            result = sharedMemory();
        } else {
            refuse("a structure named " + quoted(name) + " has no meaning here");
        }
        leave();
        return result;
    }

    Uuid uuid() const {
        const Data bytes = data();
        Uuid result;
        if (bytes.size() != result.bytes.size())
            refuse("a uuid has " + std::to_string(bytes.size()) + " bytes instead of 16");
        std::ranges::copy(bytes, result.bytes.begin());
        return result;
    }

    SharedMemory sharedMemory() {
        enter(SD_BUS_TYPE_STRUCT, "ht");
        SharedMemory result;
        result.descriptor = descriptor();
        result.length = scalar<std::uint64_t>(SD_BUS_TYPE_UINT64);
        leave();
        return result;
    }

    sd_bus_message* message_;
    std::size_t values_ = 0;
    std::unordered_map<int, Descriptor> descriptors_;
};

} // namespace

std::variant<Value, MessageFailure> readValue(sd_bus_message& message) {
    try {
        return Reader(message).read(0);
    } catch (const UnreadableMessage& refusal) {
        return refusal.failure;
    } catch (const std::bad_alloc&) {
        return MessageFailure{ErrorName::noMemory, "the message does not fit into memory"};
    }
}

} // namespace Platform::Ipc
