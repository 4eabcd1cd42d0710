// Which plans of faults there are, and which requests they select.

#include "WebService/Faults/FaultPlanParser.h"
#include "WebService/Faults/PlanValue.h"

#include <gtest/gtest.h>

namespace webservice::test {

namespace {

using namespace std::chrono_literals;

std::string refusal(std::string_view plan) {
    try {
        parseFaultPlan(plan);
    } catch (const RequestError& error) {
        EXPECT_EQ(error.code(), "BadPlan");
        EXPECT_EQ(error.status(), 400);
        return error.what();
    }
    return "";
}

/// The refusal of a plan whose second fault has these members.
std::string refusalOfFault(std::string_view members) {
    return refusal(R"({"faults":[{"action":{"kind":"delay","seconds":1}},{)" + std::string(members) + "}]}");
}

std::string refusalOfAction(std::string_view members) {
    return refusalOfFault(R"("action":{)" + std::string(members) + "}");
}

FaultPlan plan(std::string_view faults) {
    return parseFaultPlan(R"({"faults":[)" + std::string(faults) + "]}");
}

/// The place of the fault that is carried out for a request, "" for none.
std::string chosen(FaultPlan& plan, std::string_view path, std::optional<std::string> computer = std::nullopt) {
    const Fault* fault = plan.select(path, [&] { return computer; });
    return fault == nullptr ? "" : plan.placeOf(*fault);
}

const std::string delay = R"("action":{"kind":"delay","seconds":1})";

} // namespace

TEST(APlan, HasNoBodyWhereAResponseHasNone) {
    for (const char* code : {"204", "304"}) {
        const std::string status = std::string(R"("kind":"status","code":)") + code;
        EXPECT_EQ(refusalOfAction(status + R"(,"body":"x")"), "faults[1].action.body: must be empty with 204 and 304");
        EXPECT_EQ(refusalOfAction(status + R"(,"body":"")"), "");
    }
}

TEST(APlan, OfEveryKindIsAccepted) {
    EXPECT_EQ(refusal(R"({"faults":[]})"), "");
    for (const char* action :
         {R"({"kind":"reset","afterBytes":0})", R"({"kind":"close","afterBytes":9007199254740991})",
          R"({"kind":"stall","afterBytes":5,"seconds":0.5})", R"({"seconds":86400,"kind":"delay"})",
          R"({"kind":"throttle","bytesPerSecond":1})", R"({"kind":"status","code":200,"body":""})",
          R"({"kind":"status","code":599,"body":"x"})", R"({"kind":"body","text":"äöü"})",
          R"({"kind":"headers","set":{},"remove":[]})",
          R"({"kind":"headers","set":{"X-A":"b","Error":"\\ü"},"remove":["Content-Length"]})",
          R"({"kind":"corrupt","atByte":0})"}) {
        EXPECT_EQ(refusal(std::string(R"({"faults":[{"path":"*","computer":"7","skip":0,"times":0,"action":)") +
                          action + "}]}"),
                  "")
            << action;
    }
    EXPECT_EQ(refusal(R"({"faults":[{)" + delay + R"(,"seen":"x","applied":[1]}]})"), "");
}

TEST(APlan, ThatIsNotJsonIsRefusedWithLineAndColumn) {
    EXPECT_EQ(refusal(""), "line 1, column 1: incomplete JSON");
    EXPECT_EQ(refusal("{\n  \"faults\": [\n    nil\n  ]\n}"), "line 3, column 5: syntax error");
    EXPECT_EQ(refusal(R"({"faults":[]} x)"), "line 1, column 15: extra data");
    EXPECT_EQ(refusal("[]"), "line 1, column 1: a plan is an object");
    EXPECT_EQ(refusal("null"), "line 1, column 1: a plan is an object");
    EXPECT_EQ(refusal(std::string(100'000, '[')), "line 1, column 33: too deep");
    EXPECT_EQ(refusal(R"({"faults":[]})" + std::string(1 << 20, ' ')),
              "line 1, column 1048577: a plan has at most 1 MiB");
    EXPECT_EQ(refusal("{\"faults\":[{\"path\":\"\xff\"}]}"), "line 1, column 21: syntax error");
}

TEST(APlan, ThatHasAMemberTwiceIsRefusedWithLineAndColumn) {
    EXPECT_EQ(refusal("{\"faults\":[],\n \"faults\" :[]}"), "line 2, column 2: this member is already there");
    EXPECT_EQ(refusal(R"({"faults":[{"path":"a","p\u0061th":"b",)" + delay + "}]}"),
              "line 1, column 24: this member is already there");
    EXPECT_EQ(refusal(R"({"faults":[{"action":{"kind":"delay","seconds":1,"kind":"stall"}}]})"),
              "line 1, column 50: this member is already there");
    EXPECT_EQ(refusal(R"({"faults":[{"path":"path","computer":"\\\"path\":{",)" + delay + "},{" + delay + "}]}"), "");
}

TEST(APlan, IsRefusedWithThePlaceOfWhatIsMissingOrUnknown) {
    EXPECT_EQ(refusal("{}"), "faults: is missing");
    EXPECT_EQ(refusal(R"({"faults":{}})"), "faults: must be a list");
    EXPECT_EQ(refusal(R"({"faults":[],"fault":1})"), "fault: is unknown");
    EXPECT_EQ(refusal(R"({"faults":[1]})"), "faults[0]: must be an object");
    EXPECT_EQ(refusalOfFault(""), "faults[1].action: is missing");
    EXPECT_EQ(refusalOfFault(delay + R"(,"method":"POST")"), "faults[1].method: is unknown");
    EXPECT_EQ(refusalOfFault(R"("action":[])"), "faults[1].action: must be an object");
    EXPECT_EQ(refusalOfAction(""), "faults[1].action.kind: is missing");
    EXPECT_EQ(refusalOfAction(R"("kind":"rset")"), "faults[1].action.kind: there is no kind \"rset\"");
    EXPECT_EQ(refusalOfAction(R"("kind":"reset")"), "faults[1].action.afterBytes: is missing");
    EXPECT_EQ(refusalOfAction(R"("kind":"reset","afterBytes":1,"seconds":1)"), "faults[1].action.seconds: is unknown");
    EXPECT_EQ(refusalOfAction(R"("kind":"stall","afterBytes":1)"), "faults[1].action.seconds: is missing");
    EXPECT_EQ(refusalOfAction(R"("kind":"status","code":503)"), "faults[1].action.body: is missing");
    EXPECT_EQ(refusalOfAction(R"("kind":"headers","set":{})"), "faults[1].action.remove: is missing");
    const std::string name(1000, 'n');
    EXPECT_EQ(refusalOfFault(delay + ",\"" + name + "\":1"), "faults[1]." + name.substr(0, 60) + "...: is unknown");
    EXPECT_EQ(refusalOfAction("\"kind\":\"a" + std::string("ü") + name.substr(0, 57) + "ü\""),
              "faults[1].action.kind: there is no kind \"aü" + name.substr(0, 57) + "...\"");
}

TEST(APlan, IsRefusedWithThePlaceOfAValueThatIsWrong) {
    EXPECT_EQ(refusalOfFault(delay + R"(,"path":7)"), "faults[1].path: must be a string");
    EXPECT_EQ(refusalOfFault(delay + R"(,"path":"")"), "faults[1].path: must have 1 to 1000 bytes");
    EXPECT_EQ(refusalOfFault(delay + R"(,"path":")" + std::string(1001, '*') + '"'),
              "faults[1].path: must have 1 to 1000 bytes");
    EXPECT_EQ(refusalOfFault(delay + R"(,"computer":7)"), "faults[1].computer: must be a string");
    for (const char* number : {"-1", "1.0", "1e3", "9007199254740992", "18446744073709551615", "\"1\"", "null", "true"})
        EXPECT_EQ(refusalOfFault(delay + R"(,"skip":)" + number),
                  "faults[1].skip: must be an integer from 0 to 9007199254740991");
    EXPECT_EQ(refusalOfFault(delay + R"(,"times":-1)"),
              "faults[1].times: must be an integer from 0 to 9007199254740991");
    for (const char* number : {"-0.1", "86401", "1e300", "\"1\"", "null"})
        EXPECT_EQ(refusalOfAction(std::string(R"("kind":"delay","seconds":)") + number),
                  "faults[1].action.seconds: must be a number from 0 to 86400");
    EXPECT_EQ(refusalOfAction(R"("kind":"throttle","bytesPerSecond":0)"),
              "faults[1].action.bytesPerSecond: must be an integer from 1 to 9007199254740991");
    for (const char* code : {"199", "600", "0", "-200"})
        EXPECT_EQ(refusalOfAction(std::string(R"("kind":"status","body":"","code":)") + code),
                  "faults[1].action.code: must be an integer from 200 to 599");
    EXPECT_EQ(refusalOfAction(R"("kind":"body","text":null)"), "faults[1].action.text: must be a string");
    EXPECT_EQ(refusalOfAction(R"("kind":"headers","set":[],"remove":[])"), "faults[1].action.set: must be an object");
    EXPECT_EQ(refusalOfAction(R"("kind":"headers","set":{"A":"b\r\nC: d"},"remove":[])"),
              "faults[1].action.set.A: must not have control characters");
    EXPECT_EQ(refusalOfAction(R"("kind":"headers","set":{"A B":""},"remove":[])"),
              "faults[1].action.set.A B: is no name of a header field");
    EXPECT_EQ(refusalOfAction(R"("kind":"headers","set":{"A":1},"remove":[])"),
              "faults[1].action.set.A: must be a string");
    EXPECT_EQ(refusalOfAction(R"("kind":"headers","set":{},"remove":["A",""])"),
              "faults[1].action.remove[1]: is no name of a header field");
    std::string many = "{" + delay + "}";
    for (int i = 0; i < 1000; ++i)
        many += ",{" + delay + "}";
    EXPECT_EQ(refusal(R"({"faults":[)" + many + "]}"), "faults: has more than 1000 entries");
}

TEST(APlan, NamesHeaderFieldsByTokensAlone) {
    constexpr std::string_view tokens = "!#$%&'*+-.^_`|~0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    for (char c = 0x20; c < 0x7f; ++c) {
        const std::string name = boost::json::serialize(boost::json::value(std::string("X") + c));
        const bool isToken = tokens.find(c) != std::string_view::npos;
        EXPECT_EQ(refusalOfAction(R"("kind":"headers","set":{)" + name + R"(:""},"remove":[])"),
                  isToken ? "" : std::string("faults[1].action.set.X") + c + ": is no name of a header field");
        EXPECT_EQ(refusalOfAction(R"("kind":"headers","set":{},"remove":[)" + name + "]"),
                  isToken ? "" : "faults[1].action.remove[0]: is no name of a header field");
    }
}

TEST(APlan, GivesHeaderFieldsValuesWithoutControlCharacters) {
    const auto refusalOfValue = [](const std::string& value) {
        return refusalOfAction(R"("kind":"headers","set":{"A":)" + boost::json::serialize(boost::json::value(value)) +
                               R"(},"remove":[])");
    };
    for (const char* value : {"", " ", "a b", "~", "ü", "\u0080"})
        EXPECT_EQ(refusalOfValue(value), "") << value;
    for (const std::string& value :
         {std::string("\0", 1), std::string("\t"), std::string("a\x1f"), std::string("\x7f")})
        EXPECT_EQ(refusalOfValue(value), "faults[1].action.set.A: must not have control characters");
}

TEST(APlan, IsAcceptedUpToItsLimits) {
    std::string many = "{" + delay + "}";
    for (int i = 1; i < 1000; ++i)
        many += ",{" + delay + "}";
    EXPECT_EQ(refusal(R"({"faults":[)" + many + "]}"), "");
    const std::string empty = R"({"faults":[]})";
    EXPECT_EQ(refusal(empty + std::string((1 << 20) - empty.size(), ' ')), "");
    EXPECT_EQ(refusalOfFault(delay + R"(,"path":")" + std::string(1000, '*') + '"'), "");
    EXPECT_EQ(refusalOfFault(delay + R"(,"skip":9007199254740991,"times":9007199254740991)"), "");
    const std::string name(60, 'n');
    EXPECT_EQ(refusalOfFault(delay + ",\"" + name + "\":1"), "faults[1]." + name + ": is unknown");
    EXPECT_EQ(refusalOfFault(delay + ",\"" + name + "n\":1"), "faults[1]." + name + "...: is unknown");
    EXPECT_EQ(refusalOfAction(R"("kind":"delay","seconds":0)"), "");
}

TEST(APlan, IsNotShownWithAPartOfACharacter) {
    const std::string begin(58, 'n');
    for (const char* character : {"ü", "漢", "😀"})
        EXPECT_EQ(shortened(begin + "n" + character + "nnn"), begin + "n...") << character;
    EXPECT_EQ(shortened(begin + "üx"), begin + "ü...");
    EXPECT_EQ(shortened(std::string(61, '\x80')), "...");
}

TEST(AFault, SelectsPathsByAPattern) {
    for (const auto& [pattern, text] : {std::pair("a/b", "a/b"),
                                        {"*", ""},
                                        {"*", "a/b"},
                                        {"a*", "a"},
                                        {"a*c", "abbc"},
                                        {"*c", "abcbc"},
                                        {"a*b*c", "axbbxbc"},
                                        {"**b**", "abc"},
                                        {"*GetTop*", "Uploads.svc/GetTopFileUpload"}})
        EXPECT_TRUE(matches(pattern, text)) << pattern << ' ' << text;
    for (const auto& [pattern, text] : {std::pair("a/b", "a/b/c"),
                                        {"a/b", "A/b"},
                                        {"a*c", "abcd"},
                                        {"*a", "ab"},
                                        {"a*b*c", "acb"},
                                        {"ab*bc", "abc"},
                                        {"a**", ""},
                                        {"a?c", "abc"},
                                        {"", "a"}})
        EXPECT_FALSE(matches(pattern, text)) << pattern << ' ' << text;
    // Nothing behind a pattern counts.
    EXPECT_FALSE(matches(std::string_view("a*", 1), "ab"));
    EXPECT_FALSE(matches(std::string_view("ab", 1), "ab"));
    // It takes as long as the product of the lengths at the most.
    std::string pattern;
    for (int i = 0; i < 400; ++i)
        pattern += "*a";
    EXPECT_FALSE(matches(pattern + "b", std::string(1000, 'a')));
}

TEST(AFault, LetsTheFirstRequestsPassAndThenAppliesToSome) {
    FaultPlan faults = plan(R"({"path":"a","skip":2,"times":2,)" + delay + "}");
    std::string applied;
    for (int i = 0; i < 6; ++i) {
        EXPECT_EQ(chosen(faults, "b"), "");
        applied += chosen(faults, "a").empty() ? '-' : 'x';
    }
    EXPECT_EQ(applied, "--xx--");
    EXPECT_EQ(faults.json(), R"({"faults":[{"path":"a","skip":2,"times":2,)" + delay + R"(,"seen":6,"applied":2}]})");
}

TEST(AFault, WithoutTimesAppliesToAllAndWithNoneToNone) {
    FaultPlan faults = plan(R"({"times":0,)" + delay + "},{" + delay + "}");
    for (int i = 0; i < 10; ++i)
        EXPECT_EQ(chosen(faults, "any"), "faults[1]");
    EXPECT_EQ(faults.json(), R"({"faults":[{"times":0,)" + delay + R"(,"seen":10,"applied":0},{)" + delay +
                                 R"(,"seen":10,"applied":10}]})");
}

TEST(AFault, BehindOneThatAppliesCountsTheRequestButIsNotApplied) {
    FaultPlan faults = plan(R"({"times":1,)" + delay + R"(},{"skip":1,"times":1,)" + delay + "},{" + delay + "}");
    EXPECT_EQ(chosen(faults, "a"), "faults[0]");
    EXPECT_EQ(chosen(faults, "a"), "faults[1]");
    EXPECT_EQ(chosen(faults, "a"), "faults[2]");
    EXPECT_EQ(faults.json(), R"({"faults":[{"times":1,)" + delay + R"(,"seen":3,"applied":1},{"skip":1,"times":1,)" +
                                 delay + R"(,"seen":3,"applied":1},{)" + delay + R"(,"seen":3,"applied":1}]})");
}

TEST(AFault, OfAComputerSelectsItsRequestsAlone) {
    FaultPlan faults = plan(R"({"path":"a*","computer":"7",)" + delay + "}");
    EXPECT_TRUE(faults.needsComputer("ab"));
    EXPECT_FALSE(faults.needsComputer("b"));
    EXPECT_EQ(chosen(faults, "a", "7"), "faults[0]");
    EXPECT_EQ(chosen(faults, "a", "77"), "");
    EXPECT_EQ(chosen(faults, "a"), "");
    EXPECT_EQ(chosen(faults, "b", "7"), "");
}

TEST(APlan, ThatIsGivenBackIsAPlanThatHasCountedNothing) {
    FaultPlan faults = plan("{" + delay + "}");
    chosen(faults, "a");
    const FaultPlan again = parseFaultPlan(faults.json());
    EXPECT_EQ(again.json(), R"({"faults":[{)" + delay + R"(,"seen":0,"applied":0}]})");
}

} // namespace webservice::test
