// The commands that make a request again, word for word.

#include "WebService/Console/ShellCommand.h"

#include <gtest/gtest.h>

namespace webservice {

namespace {

JournalEntry requestOf(std::string method, std::string target, std::string header = "", std::string body = "") {
    JournalEntry entry;
    entry.method = std::move(method);
    entry.target = std::move(target);
    entry.request.header = std::move(header);
    entry.request.size = body.size();
    entry.request.body = std::move(body);
    return entry;
}

/// The command for a service at http://h:1, without the fields that leave out what curl would add.
std::string curlFor(const JournalEntry& entry) {
    std::string command = curlCommand(entry, "http://h:1").value_or("none");
    const std::string common = " -H User-Agent: -H Accept:";
    if (const auto place = command.find(common); place != std::string::npos)
        command.erase(place, common.size());
    return command;
}

} // namespace

TEST(AWordOfTheShell, IsPlainWhereTheShellTakesItAsItIs) {
    EXPECT_EQ(shellWord("azAZ09_./:=@%+,-"), "azAZ09_./:=@%+,-");
    for (const char c : std::string(" !\"#$&()*;<>?[\\]^`{|}~\n"))
        EXPECT_EQ(shellWord(std::string(1, c)), std::string("'") + c + "'");
    EXPECT_EQ(shellWord(""), "''");
    EXPECT_EQ(shellWord("it's"), "'it'\\''s'");
    EXPECT_EQ(shellWord("ä"), "'ä'");
}

TEST(AWordOfTheShell, IsPrintedWhereATerminalWouldNotTakeIt) {
    EXPECT_EQ(shellWord("\t"), "\"$(printf '\\011')\"");
    EXPECT_EQ(shellWord("\x1f"), "\"$(printf '\\037')\"");
    EXPECT_EQ(shellWord("\x7f~ "), "\"$(printf '\\177~ ')\"");
    EXPECT_EQ(shellWord("a%\\'\n\xff"), "\"$(printf 'a%%\\134\\047\\012\\377')\"");
}

TEST(ACurlCommand, NamesAMethodThatCurlWouldNotChoose) {
    EXPECT_EQ(curlFor(requestOf("GET", "/a")), "curl http://h:1/a");
    EXPECT_EQ(curlFor(requestOf("POST", "/a")), "curl -X POST http://h:1/a");
    EXPECT_EQ(curlFor(requestOf("HEAD", "/a")), "curl --head http://h:1/a");
    EXPECT_EQ(curlFor(requestOf("POST", "/a", "", "x y")), "curl http://h:1/a -H Content-Type: --data-raw 'x y'");
    EXPECT_EQ(curlFor(requestOf("GET", "/a", "", "x")), "curl -X GET http://h:1/a -H Content-Type: --data-raw x");
    EXPECT_EQ(curlFor(requestOf("HEAD", "/a", "", "x")), "curl -X HEAD http://h:1/a -H Content-Type: --data-raw x");
    EXPECT_EQ(curlFor(requestOf("", "/a")), "none");
    EXPECT_EQ(curlFor(requestOf("GET", "")), "none");
}

TEST(ACurlCommand, HasTheFieldsThatCurlDoesNotMakeByItself) {
    EXPECT_EQ(
        curlFor(requestOf("POST", "/a", "host: h:1\r\nContent-Length: 1\r\nexpect: 100-continue\r\nX-A: b\r\n", "x")),
        "curl http://h:1/a -H 'X-A: b' -H Content-Type: --data-raw x");
    EXPECT_EQ(curlFor(requestOf("POST", "/a", "Transfer-Encoding: chunked\r\nContent-Type: t\r\n")),
              "curl http://h:1/a -H 'Content-Type: t' --data-raw ''");
    EXPECT_EQ(curlFor(requestOf("POST", "/a", "Content-Length: 0\r\n")),
              "curl http://h:1/a -H Content-Type: --data-raw ''");
    EXPECT_EQ(curlFor(requestOf("GET", "/a", "Host: other\r\nX-Empty: \r\n")),
              "curl http://h:1/a -H 'Host: other' -H 'X-Empty;'");
    EXPECT_EQ(curlFor(requestOf("GET", "/a", "user-agent: x\r\nAccept: */*\r\n")),
              "curl http://h:1/a -H 'user-agent: x' -H 'Accept: */*'");
}

TEST(ACurlCommand, HasABodyThatIsNoTextFromAPipe) {
    EXPECT_EQ(curlFor(requestOf("POST", "/a", "", std::string("a\0", 2))),
              "printf 'a\\000' | curl http://h:1/a -H Content-Type: --data-binary @-");
    JournalEntry cut = requestOf("POST", "/a", "", "\xff");
    cut.request.size = 10;
    EXPECT_EQ(curlFor(cut),
              "curl http://h:1/a -H Content-Type: --data-binary @body # body: a file with the 10 bytes of "
              "the body, of which not all were kept");
}

TEST(ACurlCommand, GivesATargetThatCurlWouldChangeByItself) {
    for (const char* target : {"/a?b=c&d=~", "/a.b/c", "/!$()*;,'"})
        EXPECT_EQ(curlFor(requestOf("GET", target)), "curl " + shellWord(std::string("http://h:1") + target));
    for (const char* target : {"*", "a", "/a#b", "/[1]", "/{a}", "/a\\b", "/./a", "/a/..", "/\x7f", "/ä", "/ "})
        EXPECT_EQ(curlFor(requestOf("GET", target)), "curl http://h:1/ --request-target " + shellWord(target));
}

} // namespace webservice
