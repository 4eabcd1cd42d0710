// Values, their equality, and what they own.

#include "Platform/Ipc/Value.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

namespace {

using namespace Platform::Ipc;

bool isOpen(int descriptor) {
    return ::fcntl(descriptor, F_GETFD) >= 0;
}

TEST(AValue, IsNullByDefault) {
    EXPECT_NE(Value().as<Null>(), nullptr);
    EXPECT_EQ(Value(), Value(Null()));
}

TEST(AValue, IsOfTheKindThatItWasMadeOf) {
    EXPECT_TRUE(*Value(true).as<bool>());
    EXPECT_EQ(*Value(std::int64_t{-5}).as<std::int64_t>(), -5);
    EXPECT_EQ(*Value(std::uint64_t{5}).as<std::uint64_t>(), 5U);
    EXPECT_EQ(*Value(0.5).as<double>(), 0.5);
    EXPECT_EQ(Value(Date{7}).as<Date>()->nanoseconds, 7);
    EXPECT_EQ(*Value("text").as<std::string>(), "text");
    EXPECT_EQ(*Value(Data{1, 2}).as<Data>(), (Data{1, 2}));
    EXPECT_EQ(Value(Array{Value(), Value(true)}).as<Array>()->size(), 2U);
    EXPECT_EQ(Value(true).as<double>(), nullptr);
    EXPECT_EQ(Value(std::int64_t{1}).as<std::uint64_t>(), nullptr);
}

TEST(AValue, EqualsOnlyTheSameKindAndContent) {
    EXPECT_EQ(Value(Array{"a", std::int64_t{1}}), Value(Array{"a", std::int64_t{1}}));
    EXPECT_NE(Value(Array{"a", std::int64_t{1}}), Value(Array{"a", std::uint64_t{1}}));
    EXPECT_NE(Value(std::int64_t{1}), Value(Date{1}));
    EXPECT_NE(Value(false), Value());
    EXPECT_NE(Value(""), Value(Data{}));
    EXPECT_EQ(Value(Uuid{{1, 2, 3}}), Value(Uuid{{1, 2, 3}}));
}

TEST(AValue, CopiesAllThatIsInIt) {
    Value original = Dictionary{{"list", Array{"a"}}};
    Value copy = original;
    copy.as<Dictionary>()->set("list", Array{"b"});
    EXPECT_EQ(original, Value(Dictionary{{"list", Array{"a"}}}));
    EXPECT_EQ(copy, Value(Dictionary{{"list", Array{"b"}}}));
}

TEST(ADictionary, KeepsTheOrderInWhichNamesFirstCame) {
    Dictionary dictionary{{"z", true}, {"a", false}};
    dictionary.set("m", "third");
    dictionary.set("z", "first");
    EXPECT_EQ(dictionary.entries(), (std::vector<DictionaryEntry>{{"z", "first"}, {"a", false}, {"m", "third"}}));
    EXPECT_EQ(*dictionary.find("m"), Value("third"));
    EXPECT_EQ(dictionary.find("none"), nullptr);
}

TEST(ADictionary, KeepsTheLastValueOfANameThatComesAgain) {
    EXPECT_EQ((Dictionary{{"a", true}, {"b", true}, {"a", false}, {"c", true}, {"b", "x"}}.entries()),
              (std::vector<DictionaryEntry>{{"a", false}, {"b", "x"}, {"c", true}}));
}

TEST(ADescriptor, IsClosedWithItsLastCopy) {
    const int number = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
    {
        const auto first = Descriptor::adopt(number);
        {
            const Value second = first;
            EXPECT_EQ(second.as<Descriptor>()->number(), number);
            EXPECT_EQ(*second.as<Descriptor>(), first);
        }
        EXPECT_TRUE(isOpen(number));
    }
    EXPECT_FALSE(isOpen(number));
}

TEST(ADescriptor, IsDuplicatedWithoutTouchingTheOther) {
    const auto original = Descriptor::adopt(::open("/dev/null", O_RDONLY | O_CLOEXEC));
    int number = -1;
    {
        const auto copy = Descriptor::duplicate(original.number());
        ASSERT_TRUE(copy);
        number = copy->number();
        EXPECT_NE(number, original.number());
        EXPECT_NE(*copy, original);
        EXPECT_EQ(::fcntl(number, F_GETFD), FD_CLOEXEC);
    }
    EXPECT_FALSE(isOpen(number));
    EXPECT_TRUE(isOpen(original.number()));
}

TEST(ADescriptor, CannotBeDuplicatedWhereNothingIsOpen) {
    EXPECT_EQ(Descriptor::duplicate(-1), std::nullopt);
    EXPECT_EQ(Descriptor().number(), -1);
    EXPECT_FALSE(Descriptor());
    EXPECT_EQ(Descriptor::adopt(-1), Descriptor());
}

} // namespace
