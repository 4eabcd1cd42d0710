// How values travel in bus messages, and what messages of other programs mean.

#include "MessageMaker.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cmath>
#include <limits>

namespace {

using namespace Platform::Ipc;
using IpcTests::MessageMaker;
using Fill = std::function<void(sd_bus_message*)>;

class AMessage : public testing::Test {
protected:
    /// Like sd_bus_message_append(3), of which every call must succeed.
    template <class... Arguments>
    static Fill of(const char* types, Arguments... arguments) {
        return [=](sd_bus_message* message) { ASSERT_GE(sd_bus_message_append(message, types, arguments...), 0); };
    }
    Value read(const Fill& fill) const {
        auto result = maker.read(fill);
        if (const auto* failure = std::get_if<MessageFailure>(&result)) {
            ADD_FAILURE() << failure->text;
            return "refused";
        }
        return std::get<Value>(std::move(result));
    }
    Value travelled(const Value& value) const {
        auto result = maker.travel(value);
        if (const auto* failure = std::get_if<MessageFailure>(&result)) {
            ADD_FAILURE() << failure->text;
            return "refused";
        }
        return std::get<Value>(std::move(result));
    }
    static std::string refusal(const std::variant<Value, MessageFailure>& result) {
        const auto* failure = std::get_if<MessageFailure>(&result);
        return failure == nullptr ? "read" : std::string(failure->errorName) + ": " + failure->text;
    }
    /// The types that a value travels as, the outermost variant left out.
    std::string types(const Value& value) const {
        auto message = maker.blank();
        EXPECT_TRUE(appendVariant(*message, value));
        EXPECT_GE(sd_bus_message_seal(message.get(), 1, 0), 0);
        const char* contents = nullptr;
        EXPECT_GT(sd_bus_message_peek_type(message.get(), nullptr, &contents), 0);
        return contents == nullptr ? "" : contents;
    }

    const MessageMaker maker;
    static inline const std::string invalid = "org.freedesktop.DBus.Error.InvalidArgs: ";
    static inline const std::string limits = "org.freedesktop.DBus.Error.LimitsExceeded: ";
};

Descriptor nullDevice() {
    return Descriptor::adopt(::open("/dev/null", O_RDWR | O_CLOEXEC));
}

bool sameFile(int first, int second) {
    struct stat one {};
    struct stat other {};
    return ::fstat(first, &one) == 0 && ::fstat(second, &other) == 0 && one.st_dev == other.st_dev &&
           one.st_ino == other.st_ino && one.st_rdev == other.st_rdev;
}

TEST_F(AMessage, CarriesEveryKindAsTheTypeThatIsWrittenDown) {
    EXPECT_EQ(types(true), "b");
    EXPECT_EQ(types(std::int64_t{-7}), "x");
    EXPECT_EQ(types(std::uint64_t{7}), "t");
    EXPECT_EQ(types(0.5), "d");
    EXPECT_EQ(types("text"), "s");
    EXPECT_EQ(types(Data{1}), "ay");
    EXPECT_EQ(types(nullDevice()), "h");
    EXPECT_EQ(types(Array{true}), "av");
    EXPECT_EQ(types(Dictionary{{"a", true}}), "a{sv}");
    EXPECT_EQ(types(Null()), "(sv)");
    EXPECT_EQ(types(Date{1}), "(sv)");
    EXPECT_EQ(types(Uuid()), "(sv)");
    EXPECT_EQ(types(SharedMemory{nullDevice(), 1}), "(sv)");
}

TEST_F(AMessage, GivesBackEveryKindUnchanged) {
    const std::vector<Value> values{
        Null(),
        true,
        false,
        std::numeric_limits<std::int64_t>::min(),
        std::numeric_limits<std::int64_t>::max(),
        std::numeric_limits<std::uint64_t>::max(),
        -0.0,
        std::numeric_limits<double>::denorm_min(),
        std::numeric_limits<double>::infinity(),
        Date{1500000000123456789},
        Date{std::numeric_limits<std::int64_t>::min()},
        Data{},
        Data{0, 255, 7},
        "",
        "naïve – 文字",
        Uuid{{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 255}},
        Array{},
        Array{Array{}, Array{Null(), "x"}, Dictionary{}},
        Dictionary{},
        Dictionary{{"", Null()}, {"nested", Dictionary{{"list", Array{Date{1}, Uuid{}}}}}},
    };
    for (const auto& value : values)
        EXPECT_EQ(travelled(value), value) << types(value);
    const auto notANumber = travelled(std::numeric_limits<double>::quiet_NaN());
    EXPECT_TRUE(std::isnan(*notANumber.as<double>()));
}

TEST_F(AMessage, WritesTheKindsThatTheBusLacksAsNamedStructures) {
    const auto content = [&](const Value& value, const char* type) {
        auto message = maker.blank();
        EXPECT_TRUE(appendVariant(*message, value));
        EXPECT_GE(sd_bus_message_seal(message.get(), 1, 0), 0);
        const char* name = nullptr;
        EXPECT_GT(sd_bus_message_enter_container(message.get(), 'v', "(sv)"), 0);
        EXPECT_GT(sd_bus_message_enter_container(message.get(), 'r', "sv"), 0);
        EXPECT_GT(sd_bus_message_read_basic(message.get(), 's', &name), 0);
        EXPECT_GT(sd_bus_message_enter_container(message.get(), 'v', type), 0);
        return std::pair(std::move(message), std::string(name));
    };
    std::int64_t nanoseconds = 0;
    const auto [date, dateName] = content(Date{-5}, "x");
    EXPECT_GT(sd_bus_message_read(date.get(), "x", &nanoseconds), 0);
    EXPECT_EQ(dateName, "date");
    EXPECT_EQ(nanoseconds, -5);

    const void* bytes = nullptr;
    std::size_t size = 0;
    const auto [uuid, uuidName] = content(Uuid{{1, 2}}, "ay");
    EXPECT_GT(sd_bus_message_read_array(uuid.get(), 'y', &bytes, &size), 0);
    EXPECT_EQ(uuidName, "uuid");
    EXPECT_EQ(size, 16U);

    std::uint8_t byte = 1;
    const auto [null, nullName] = content(Null(), "y");
    EXPECT_GT(sd_bus_message_read(null.get(), "y", &byte), 0);
    EXPECT_EQ(nullName, "null");
    EXPECT_EQ(byte, 0);

    int descriptor = -1;
    std::uint64_t length = 0;
    const auto [memory, memoryName] = content(SharedMemory{nullDevice(), 4096}, "(ht)");
    EXPECT_GT(sd_bus_message_read(memory.get(), "(ht)", &descriptor, &length), 0);
    EXPECT_EQ(memoryName, "shmem");
    EXPECT_GE(descriptor, 0);
    EXPECT_EQ(length, 4096U);
}

TEST_F(AMessage, HandsOverDuplicatesOfItsDescriptors) {
    const auto original = Descriptor::adopt(::memfd_create("shared", MFD_CLOEXEC));
    const auto value = travelled(Dictionary{{"file", original}, {"memory", SharedMemory{original, 4096}}});
    const auto* dictionary = value.as<Dictionary>();
    ASSERT_NE(dictionary, nullptr);
    const auto* file = dictionary->find("file")->as<Descriptor>();
    const auto* memory = dictionary->find("memory")->as<SharedMemory>();
    ASSERT_TRUE(file != nullptr && memory != nullptr);
    EXPECT_NE(file->number(), original.number());
    EXPECT_TRUE(sameFile(file->number(), original.number()));
    EXPECT_TRUE(sameFile(memory->descriptor.number(), original.number()));
    EXPECT_EQ(memory->length, 4096U);
}

TEST_F(AMessage, DuplicatesADescriptorThatIsNamedManyTimesOnce) {
    const auto value = read([](sd_bus_message* message) {
        const auto device = nullDevice();
        ASSERT_GE(sd_bus_message_append(message, "h", device.number()), 0);
    });
    EXPECT_NE(value.as<Descriptor>(), nullptr);
}

TEST_F(AMessage, ReadsWhatPlainClientsSendAsWhatItMeans) {
    EXPECT_EQ(read(of("y", 200)), Value(std::uint64_t{200}));
    EXPECT_EQ(read(of("n", -300)), Value(std::int64_t{-300}));
    EXPECT_EQ(read(of("q", 65535)), Value(std::uint64_t{65535}));
    EXPECT_EQ(read(of("i", -70000)), Value(std::int64_t{-70000}));
    EXPECT_EQ(read(of("u", 4294967295U)), Value(std::uint64_t{4294967295}));
    EXPECT_EQ(read(of("o", "/a/b")), Value("/a/b"));
    EXPECT_EQ(read(of("g", "a{sv}")), Value("a{sv}"));
    EXPECT_EQ(read(of("v", "v", "s", "boxed twice")), Value("boxed twice"));
    EXPECT_EQ(read(of("as", 2, "a", "b")), Value(Array{"a", "b"}));
    EXPECT_EQ(read(of("ai", 2, 1, -1)), Value(Array{std::int64_t{1}, std::int64_t{-1}}));
    EXPECT_EQ(read(of("ab", 2, 1, 0)), Value(Array{true, false}));
    EXPECT_EQ(read(of("an", 2, -1, 5)), Value(Array{std::int64_t{-1}, std::int64_t{5}}));
    EXPECT_EQ(read(of("aq", 1, 65535)), Value(Array{std::uint64_t{65535}}));
    EXPECT_EQ(read(of("au", 1, 4294967295U)), Value(Array{std::uint64_t{4294967295}}));
    EXPECT_EQ(read(of("ax", 1, std::int64_t{-9})), Value(Array{std::int64_t{-9}}));
    EXPECT_EQ(read(of("at", 1, std::uint64_t{9})), Value(Array{std::uint64_t{9}}));
    EXPECT_EQ(read(of("ad", 2, 0.5, -0.5)), Value(Array{0.5, -0.5}));
    EXPECT_EQ(read(of("ad", 0)), Value(Array{}));
    EXPECT_EQ(read(of("aas", 2, 1, "a", 0)), Value(Array{Array{"a"}, Array{}}));
    EXPECT_EQ(read(of("ay", 3, 1, 2, 3)), Value(Data{1, 2, 3}));
    EXPECT_EQ(read(of("aay", 1, 2, 8, 9)), Value(Array{Data{8, 9}}));
    EXPECT_EQ(read(of("a{ss}", 2, "k", "v", "l", "w")), Value(Dictionary{{"k", "v"}, {"l", "w"}}));
    EXPECT_EQ(read(of("a{oi}", 1, "/p", 4)), Value(Dictionary{{"/p", std::int64_t{4}}}));
    EXPECT_EQ(read(of("a{gb}", 1, "ai", 1)), Value(Dictionary{{"ai", true}}));
    EXPECT_EQ(read(of("a{sa{su}}", 1, "outer", 1, "inner", 9U)),
              Value(Dictionary{{"outer", Dictionary{{"inner", std::uint64_t{9}}}}}));
    EXPECT_EQ(read(of("a(sv)", 2, "date", "x", std::int64_t{5}, "null", "y", 0)), Value(Array{Date{5}, Null()}));
    EXPECT_EQ(read(of("av", 2, "v", "u", 1U, "(sv)", "date", "x", std::int64_t{2})),
              Value(Array{std::uint64_t{1}, Date{2}}));
}

TEST_F(AMessage, KeepsTheLastOfEntriesOfOneName) {
    EXPECT_EQ(read(of("a{si}", 3, "a", 1, "b", 2, "a", 3)),
              Value(Dictionary{{"a", std::int64_t{3}}, {"b", std::int64_t{2}}}));
}

TEST_F(AMessage, SaysWhyItIsRefused) {
    const auto why = [&](const Fill& fill) { return refusal(maker.read(fill)); };
    EXPECT_EQ(why([](sd_bus_message*) {}), invalid + "a value is missing");
    EXPECT_EQ(why(of("(ii)", 1, 2)), invalid + "a structure (ii) has no meaning here");
    EXPECT_EQ(why(of("(sv)", "colour", "s", "red")), invalid + "a structure named \"colour\" has no meaning here");
    EXPECT_EQ(why(of("(sv)", "date", "t", std::uint64_t{1})),
              invalid + "a structure named \"date\" has content of type t instead of x");
    EXPECT_EQ(why(of("(sv)", "null", "y", 1)), invalid + "a null is not 0");
    EXPECT_EQ(why(of("(sv)", "uuid", "ay", 3, 1, 2, 3)), invalid + "a uuid has 3 bytes instead of 16");
    EXPECT_EQ(why(of("(sv)", "uuid", "s", "x")),
              invalid + "a structure named \"uuid\" has content of type s instead of ay");
    EXPECT_EQ(why(of("(sv)", "shmem", "t", std::uint64_t{1})),
              invalid + "a structure named \"shmem\" has content of type t instead of (ht)");
    EXPECT_EQ(why(of("a{iv}", 1, 1, "s", "x")), invalid + "a dictionary has names of type i, which are no strings");
    EXPECT_EQ(why(of("av", 2, "s", "fine", "(i)", 1)), invalid + "a structure (i) has no meaning here");
}

TEST_F(AMessage, IsReadAsDeepAsTheBusAllows) {
    const auto nested = [](int depth) {
        Value value = "core";
        for (int level = 0; level < depth; ++level)
            value = Array{std::move(value)};
        return value;
    };
    // A variant around all, and an array and a variant at each level: 1 + 2 * 31 = 63 containers.
    EXPECT_EQ(travelled(nested(31)), nested(31));
    EXPECT_EQ(refusal(maker.travel(nested(32))), limits + "containers nest deeper than 64");
    const auto boxed = [](int boxes) {
        return [boxes](sd_bus_message* message) {
            for (int box = 0; box < boxes; ++box)
                ASSERT_GE(sd_bus_message_open_container(message, 'v', box + 1 == boxes ? "s" : "v"), 0);
            ASSERT_GE(sd_bus_message_append(message, "s", "core"), 0);
            for (int box = 0; box < boxes; ++box)
                ASSERT_GE(sd_bus_message_close_container(message), 0);
        };
    };
    EXPECT_EQ(read(boxed(64)), Value("core"));
    EXPECT_EQ(refusal(maker.read(boxed(65))), limits + "containers nest deeper than 64");
}

TEST_F(AMessage, HoldsABoundedNumberOfValues) {
    const std::vector<std::uint32_t> numbers(maximumValues, 7);
    const auto filled = [&](std::size_t count) {
        return [&numbers, count](sd_bus_message* message) {
            ASSERT_GE(sd_bus_message_append_array(message, 'u', numbers.data(), count * sizeof numbers[0]), 0);
        };
    };
    // The array itself counts too.
    EXPECT_EQ(read(filled(maximumValues - 1)).as<Array>()->size(), maximumValues - 1);
    EXPECT_EQ(refusal(maker.read(filled(maximumValues))), limits + "more than 1048576 values in one message");
    EXPECT_EQ(refusal(maker.travel(Array(maximumValues, Value(true)))),
              limits + "more than 1048576 values for one message");
}

TEST_F(AMessage, RefusesToBeWrittenWithWhatTheBusWouldNotTake) {
    EXPECT_EQ(refusal(maker.travel(std::string("zero\0inside", 11))),
              invalid + "byte 4 of a string is zero or no part of well-formed UTF-8");
    EXPECT_EQ(refusal(maker.travel("bad \xC3\x28")),
              invalid + "byte 4 of a string is zero or no part of well-formed UTF-8");
    EXPECT_EQ(refusal(maker.travel(Dictionary{{"\xFF", true}})),
              invalid + "byte 0 of a string is zero or no part of well-formed UTF-8");
    EXPECT_EQ(refusal(maker.travel(Descriptor())), invalid + "there is no descriptor to send");
    const auto device = nullDevice();
    EXPECT_EQ(travelled(Array(16, Value(device))).as<Array>()->size(), 16U);
    EXPECT_EQ(refusal(maker.travel(Array(17, Value(device)))), limits + "more than 16 descriptors for one message");
    EXPECT_EQ(refusal(maker.travel(std::string((std::size_t{128} << 20) - 4096, 'a'))),
              limits + "a message is larger than 128 MiB");
    EXPECT_EQ(refusal(maker.travel(Data((std::size_t{64} << 20) + 1))), limits + "an array is larger than 64 MiB");
    const Data half(std::size_t{32} << 20);
    EXPECT_EQ(refusal(maker.travel(Array{half, half})), limits + "an array is larger than 64 MiB");
    EXPECT_EQ(refusal(maker.travel(Dictionary{{"a", half}, {"b", half}})), limits + "an array is larger than 64 MiB");
}

} // namespace
