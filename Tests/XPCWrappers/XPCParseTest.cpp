// Conversion between what travels in messages and value objects, both ways.

#include "XPCWrappers/XPCParse.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <limits>

namespace {

using namespace Quenmark;
using namespace Quenmark::XPCParse;
using XPC::FileHandle;
using XPC::Number;
using XPC::Object;
namespace Ipc = Platform::Ipc;

Ipc::Descriptor nullDevice() {
    return Ipc::Descriptor::adopt(::open("/dev/null", O_RDWR | O_CLOEXEC));
}

std::size_t openDescriptors() {
    const std::filesystem::directory_iterator all("/proc/self/fd");
    return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

TEST(AValueThatArrives, BecomesTheObjectOfItsKind) {
    EXPECT_EQ(objectWithXPCObject("text"), Object(std::string("text")));
    EXPECT_EQ(objectWithXPCObject(Ipc::Data{1, 2}), Object(XPC::Data{1, 2}));
    EXPECT_EQ(objectWithXPCObject(Ipc::Uuid{{9}}), Object(XPCUUID::initWithUUIDRef({9})));
    EXPECT_EQ(objectWithXPCObject(Ipc::Date{1500000000123456789}), Object(XPC::Date{1500000000.123456789}));
    EXPECT_EQ(objectWithXPCObject(true), Object(Number(true)));
    EXPECT_EQ(objectWithXPCObject(false), Object(Number(false)));
    EXPECT_EQ(objectWithXPCObject(std::uint64_t{7}), Object(Number(7ULL)));
    EXPECT_EQ(objectWithXPCObject(std::int64_t{-7}), Object(Number(-7LL)));
    EXPECT_EQ(objectWithXPCObject(0.25), Object(Number(0.25)));
}

TEST(AValueThatArrives, IsNilWhereItHasNoObject) {
    EXPECT_EQ(objectWithXPCObject(Ipc::Null()), std::nullopt);
    EXPECT_EQ(objectWithXPCObject(Ipc::SharedMemory{nullDevice(), 1}), std::nullopt);
    EXPECT_EQ(objectWithXPCObject(Ipc::Descriptor()), std::nullopt);
}

TEST(AValueThatArrives, IsNilForTheConversionsThatLookAtItsKind) {
    EXPECT_EQ(numberWithXPCObject("7"), std::nullopt);
    EXPECT_EQ(dataWithXPCObject("bytes"), std::nullopt);
    EXPECT_EQ(dataWithXPCObject(Ipc::SharedMemory{nullDevice(), 1}), std::nullopt);
    EXPECT_EQ(fileHandleWithXPCObject(std::int64_t{0}), std::nullopt);
}

TEST(AValueThatArrives, IsAnErrorForTheConversionsThatDoNot) {
    EXPECT_THROW(stringWithXPCObject(true), std::bad_variant_access);
    EXPECT_THROW(dateWithXPCObject(std::int64_t{5}), std::bad_variant_access);
    EXPECT_THROW(dictionaryWithContentsOfXPCObject(Ipc::Array{}), std::bad_variant_access);
    EXPECT_THROW(arrayWithContentsOfXPCObject("a"), std::bad_variant_access);
}

TEST(ANumberThatLeaves, IsABooleanOnlyWhereItIsTrue) {
    EXPECT_EQ(newXPCObject(Number(true)), Value(true));
    EXPECT_EQ(newXPCObject(Number(false)), Value(0.0));
}

TEST(ANumberThatLeaves, IsAnIntegerOnlyWhereItHas64Bits) {
    EXPECT_EQ(newXPCObject(Number(7LL)), Value(std::int64_t{7}));
    EXPECT_EQ(newXPCObject(Number(7ULL)), Value(std::uint64_t{7}));
    EXPECT_EQ(newXPCObject(Number(-7L)), Value(std::int64_t{-7}));
    EXPECT_EQ(newXPCObject(Number(std::numeric_limits<std::int64_t>::min())),
              Value(std::numeric_limits<std::int64_t>::min()));
    EXPECT_EQ(newXPCObject(Number(std::numeric_limits<std::uint64_t>::max())),
              Value(std::numeric_limits<std::uint64_t>::max()));
    EXPECT_EQ(newXPCObject(Number(7)), Value(7.0));
    EXPECT_EQ(newXPCObject(Number(7U)), Value(7.0));
    EXPECT_EQ(newXPCObject(Number(static_cast<short>(-7))), Value(-7.0));
    EXPECT_EQ(newXPCObject(Number(static_cast<unsigned char>(255))), Value(255.0));
    EXPECT_EQ(newXPCObject(Number(0.5F)), Value(0.5));
    EXPECT_EQ(newXPCObject(Number(0.1)), Value(0.1));
}

TEST(ADate, DropsWhatIsSmallerThanANanosecond) {
    EXPECT_EQ(newXPCObject(XPC::Date{0.5}), Value(Ipc::Date{500000000}));
    EXPECT_EQ(newXPCObject(XPC::Date{1.9999999999}), Value(Ipc::Date{1999999999}));
    EXPECT_EQ(newXPCObject(XPC::Date{-1.9999999999}), Value(Ipc::Date{-1999999999}));
    EXPECT_EQ(newXPCObject(XPC::Date{1e300}), Value(Ipc::Date{std::numeric_limits<std::int64_t>::max()}));
    EXPECT_EQ(dateWithXPCObject(Ipc::Date{-500000000}), XPC::Date{-0.5});
}

TEST(AString, TravelsUpToItsFirstZeroByte) {
    EXPECT_EQ(newXPCObject(std::string("naïve")), Value("naïve"));
    EXPECT_EQ(newXPCObject(std::string("cut\0here", 8)), Value("cut"));
}

TEST(ADictionaryThatLeaves, HasKeysUpToTheirFirstZeroByte) {
    using namespace std::string_literals;
    EXPECT_EQ(newXPCObject(XPC::Dictionary{{"a\0b"s, Number(1LL)}, {"\0"s, Number(2LL)}, {"c", Number(3LL)}}),
              Value(Ipc::Dictionary{{"a", std::int64_t{1}}, {"", std::int64_t{2}}, {"c", std::int64_t{3}}}));
    EXPECT_EQ(newXPCObject(XPC::Dictionary{{"a", Number(1LL)}, {"a\0b"s, Number(2LL)}}),
              Value(Ipc::Dictionary{{"a", std::int64_t{2}}}));
}

TEST(ADictionaryThatArrives, LeavesOutWhatIsNil) {
    EXPECT_EQ(objectWithXPCObject(Ipc::Dictionary{{"a", true},
                                                  {"gone", Ipc::Null()},
                                                  {"memory", Ipc::SharedMemory{nullDevice(), 1}},
                                                  {"inner", Ipc::Dictionary{{"gone", Ipc::Null()}}}}),
              Object(XPC::Dictionary{{"a", Number(true)}, {"inner", XPC::Dictionary{}}}));
}

TEST(AnArrayThatArrives, KeepsTheOrderOfWhatIsNotNil) {
    EXPECT_EQ(objectWithXPCObject(Ipc::Array{Ipc::Null(), std::int64_t{5}}), Object(XPC::Array{Number(5LL)}));
    EXPECT_EQ(objectWithXPCObject(Ipc::Array{std::int64_t{5}, Ipc::Null()}), Object(XPC::Array{Number(5LL)}));
    EXPECT_EQ(objectWithXPCObject(Ipc::Array{"a", Ipc::Null(), "b", Ipc::Null(), Ipc::Null(), "c"}),
              Object(XPC::Array{std::string("a"), std::string("b"), std::string("c")}));
}

TEST(AnObjectThatLeaves, BecomesTheValueOfItsClass) {
    EXPECT_EQ(newXPCObject(Object(XPC::Dictionary{{"b", std::string("x")}, {"a", Number(false)}})),
              Value(Ipc::Dictionary{{"b", "x"}, {"a", 0.0}}));
    EXPECT_EQ(newXPCObject(Object(XPC::Array{XPC::Data{1}, XPC::Date{2}, XPCUUID::initWithUUIDRef({3})})),
              Value(Ipc::Array{Ipc::Data{1}, Ipc::Date{2000000000}, Ipc::Uuid{{3}}}));
    EXPECT_EQ(newXPCObject(Object(std::string("s"))), Value("s"));
}

TEST(AnObjectThatLeaves, IsLeftOutWhereItHasNoValue) {
    EXPECT_EQ(newXPCObject(Object(XPC::Null())), std::nullopt);
    EXPECT_EQ(newXPCObject(XPC::Dictionary{{"none", XPC::Null()}, {"one", Number(1LL)}}),
              Value(Ipc::Dictionary{{"one", std::int64_t{1}}}));
    EXPECT_EQ(newXPCObject(XPC::Array{XPC::Null(), Number(1LL), FileHandle(Ipc::Descriptor()), Number(2LL)}),
              Value(Ipc::Array{std::int64_t{1}, std::int64_t{2}}));
}

TEST(AFileHandle, OwnsADescriptorOfItsOwn) {
    const auto before = openDescriptors();
    {
        auto arriving = std::make_unique<Value>(nullDevice());
        const int original = arriving->as<Ipc::Descriptor>()->number();
        auto handle = fileHandleWithXPCObject(*arriving);
        ASSERT_TRUE(handle);
        EXPECT_NE(handle->fileDescriptor(), original);
        arriving.reset();
        EXPECT_EQ(::fcntl(original, F_GETFD), -1);
        EXPECT_EQ(::write(handle->fileDescriptor(), "x", 1), 1);

        const auto leaving = newXPCObject(*handle);
        ASSERT_TRUE(leaving);
        EXPECT_NE(leaving->as<Ipc::Descriptor>()->number(), handle->fileDescriptor());
        const int closed = handle->fileDescriptor();
        handle.reset();
        EXPECT_EQ(::fcntl(closed, F_GETFD), -1);
        EXPECT_EQ(::write(leaving->as<Ipc::Descriptor>()->number(), "x", 1), 1);
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST(AMillionConversions, LeaveNoDescriptorAndNoMemoryBehind) {
    const Value arriving = Ipc::Dictionary{{"file", nullDevice()},
                                           {"list", Ipc::Array{Ipc::Null(), "text", std::int64_t{1}}},
                                           {"data", Ipc::Data(64, 7)},
                                           {"date", Ipc::Date{5}}};
    const auto convert = [&](int times) {
        for (int count = 0; count < times; ++count) {
            const auto object = objectWithXPCObject(arriving);
            const auto leaving = newXPCObject(*object);
            if (leaving->as<Ipc::Dictionary>()->entries().size() != 4)
                return false;
        }
        return true;
    };
    const auto residentPages = [] {
        std::size_t pages = 0;
        std::FILE* file = std::fopen("/proc/self/statm", "re");
        EXPECT_EQ(std::fscanf(file, "%*u %zu", &pages), 1);
        std::fclose(file);
        return pages;
    };
    ASSERT_TRUE(convert(1000));
    const auto descriptors = openDescriptors();
    const auto pages = residentPages();
    // Each of these is a dozen conversions.
    EXPECT_TRUE(convert(100'000));
    EXPECT_EQ(openDescriptors(), descriptors);
#ifndef HAS_ADDRESS_SANITIZER
    EXPECT_LE(residentPages(), pages + 64);
#else
    // The sanitizer keeps freed memory for a while, and finds what is lost on its own.
    static_cast<void>(pages);
#endif
}

} // namespace
