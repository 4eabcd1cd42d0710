// Value objects as text, and dictionaries of them.

#include "XPCWrappers/Object.h"

#include <gtest/gtest.h>

#include <fcntl.h>

namespace {

using namespace Quenmark;
using XPC::Array;
using XPC::Dictionary;
using XPC::Entry;
using XPC::Number;
using XPC::Object;

TEST(AnObjectsText, IsThatOfTheLog) {
    EXPECT_EQ(text(std::optional<Object>()), "(null)");
    EXPECT_EQ(text(Object(std::string("as it is"))), "as it is");
    EXPECT_EQ(text(Object(Number(true))), "1");
    EXPECT_EQ(text(Object(Number(false))), "0");
    EXPECT_EQ(text(Object(Number(-5))), "-5");
    EXPECT_EQ(text(Object(Number(18446744073709551615ULL))), "18446744073709551615");
    EXPECT_EQ(text(Object(Number(0.5))), "0.5");
    EXPECT_EQ(text(Object(XPC::Date{1.5})), "1.5 seconds since 1970");
    EXPECT_EQ(text(Object(XPC::Data{0x0A, 0xFF})), "<0aff>");
    EXPECT_EQ(text(Object(XPC::Data(33, 0))), "<" + std::string(64, '0') + "... 33 bytes>");
    EXPECT_EQ(text(Object(XPCUUID::initWithUUIDRef({}))), "<XPCUUID 00000000-0000-0000-0000-000000000000>");
    EXPECT_EQ(text(Object(XPC::Null())), "<null>");
    const XPC::FileHandle handle(Platform::Ipc::Descriptor::adopt(::open("/dev/null", O_RDONLY | O_CLOEXEC)));
    EXPECT_EQ(text(Object(handle)), "<FileHandle " + std::to_string(handle.fileDescriptor()) + ">");
}

TEST(AnObjectsText, TakesSeveralLinesForContainers) {
    EXPECT_EQ(text(Object(Dictionary{{"name", std::string("a")}, {"list", Array{Number(1), Number(2)}}})),
              "{\n"
              "    \"name\" = \"a\";\n"
              "    \"list\" = (\n"
              "        1,\n"
              "        2\n"
              "    );\n"
              "}");
}

TEST(ADictionaryOfObjects, HasEachKeyOnceInTheOrderOfItsFirstUse) {
    Dictionary dictionary{{"z", Number(1)}, {"a", Number(2)}, {"z", Number(3)}};
    dictionary.setObjectForKey(Number(4), "m");
    EXPECT_EQ(dictionary.entries(), (std::vector<Entry>{{"z", Number(3)}, {"a", Number(2)}, {"m", Number(4)}}));
    EXPECT_EQ(*dictionary.objectForKey("a"), Object(Number(2)));
    EXPECT_EQ(dictionary.objectForKey("none"), nullptr);
}

} // namespace
