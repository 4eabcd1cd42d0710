// Where the texts that a bundle removes begin and end.

#include "Tools/Bundle/Bundle.h"
#include "Tools/Bundle/LogValues.h"
#include "Tools/Bundle/Redactor.h"

#include <gtest/gtest.h>

#include <string>

namespace ToolTest {

using namespace Tools;

TEST(TheFilesOfABundle, AreThese) {
    std::string names;
    for (const auto& file : bundleFiles({}, {}))
        names += file.path + "\n";
    EXPECT_EQ(names, "quenmark-bundle/doctor.txt\nquenmark-bundle/doctor.json\nquenmark-bundle/status.json\n"
                     "quenmark-bundle/settings.json\nquenmark-bundle/versions.txt\nquenmark-bundle/log.txt\n");
}

TEST(TheRedactorOfABundle, KnowsEachFormOfAnItemsName) {
    BundleParts parts;
    parts.status.emplace();
    parts.status->engines.resize(1);
    EXPECT_EQ(redactorFor(parts).redacted("x y"), "x y") << "there is no item";
    parts.status->engines[0].item = "\\Docs\\abcd";
    parts.status->engines[0].lastItem = "\\Docs\\xyz";
    const auto redactor = redactorFor(parts);
    EXPECT_EQ(redactor.redacted("at /srv/Docs/abcd, /srv/Docs/xyz"), "at /srv[name], /srv[name]");
    EXPECT_EQ(redactor.redacted("abcd xyz"), "[name] xyz") << "a shorter word stands in too many places";
}

TEST(TheRedactorOfABundle, KnowsPreferencesOfFourBytesAndIdentifiersOfOne) {
    BundleParts parts;
    parts.settings.preferences = {{"computerIdKey", "7"}, {"a", {"abc", {{"b", "defg"}}}}, {"c", 1234}, {"d", 123}};
    EXPECT_EQ(redactorFor(parts).redacted("7 abc defg 1234 123"), "[computerIdKey] abc [preference] [preference] 123");
}

TEST(ALogWithoutValues, ShowsThoseThatTellNothingOfAPerson) {
    for (const std::string key : {"ReturnStatus", "FileSize", "Content-Length", "Content-Type", "Transfer-Encoding",
                                  "Date", "Server", "Connection"}) {
        const std::string entry = "{\"" + key + "\" : \"x\", \"My" + key + "\" : ";
        EXPECT_EQ(withoutValues(entry + "\"x\"}"), entry + "[value]}");
    }
}

TEST(ALogWithoutValues, EndsAPlainOneAtEachOfItsDelimiters) {
    for (const char delimiter : std::string(",;\n})"))
        EXPECT_EQ(withoutValues(std::string("\"A\":a b") + delimiter + "c"),
                  std::string("\"A\":[value]") + delimiter + "c");
}

TEST(ALogWithoutValues, FindsItBehindBlanks) {
    EXPECT_EQ(withoutValues("\"A\" \t\r\n: \t\r\n1"), "\"A\" \t\r\n: \t\r\n[value]");
    EXPECT_EQ(withoutValues("\"A\" 1"), "\"A\" 1");
    EXPECT_EQ(withoutValues("\"A\" :"), "\"A\" :");
}

TEST(ALogWithoutValues, ShowsNoPlainValueOfAListThatHoldsDictionariesToo) {
    for (const char* list : {R"(["x",{"B":"y"}])", R"([{"B":"y"},"x"])", R"(("x", {"B" = "y";}))",
                             R"([["x"],{"B":"y"}])", R"([{"B":["y"]}, 5])", R"(["]",{"B":"y"},"x"])"})
        EXPECT_EQ(withoutValues(std::string(R"({"A":)") + list + R"(,"ReturnStatus":"0"})"),
                  R"({"A":[value],"ReturnStatus":"0"})");
    EXPECT_EQ(withoutValues(R"({"A":["x",{"B":"cut)"), R"({"A":[value])");
    EXPECT_EQ(withoutValues(R"("A":[{"B":"y"}, {"ReturnStatus":"0"}])"),
              R"("A":[{"B":[value]}, {"ReturnStatus":"0"}])");
    EXPECT_EQ(withoutValues(R"("A":[[{"B":"y"}]])"), R"("A":[value])");
}

TEST(ALogWithoutCredentials, KnowsEachOfTheirNames) {
    for (const std::string name : {"password", "PASSWD", "token", "client_secret", "Credential", "tokenId-2_x"}) {
        EXPECT_EQ(withoutCredentials(name + "=s3cr3t"), name + "=[credential]");
        EXPECT_EQ(withoutCredentials(name + "\t:\t s3cr3t"), name + "\t:\t [credential]");
        EXPECT_EQ(withoutCredentials(name + " is s3cr3t"), name + " is s3cr3t");
    }
    EXPECT_EQ(withoutCredentials("basic YTpi bearer abc"), "basic [credential] bearer [credential]");
}

TEST(ALogWithoutCredentials, HasWhatFollowsEachDelimiter) {
    for (const char delimiter : std::string("& \t\r\n,;\"'"))
        EXPECT_EQ(withoutCredentials(std::string("token=s3cr3t") + delimiter + "z"),
                  std::string("token=[credential]") + delimiter + "z");
    EXPECT_EQ(withoutCredentials("token=a token=b"), "token=[credential] token=[credential]");
}

TEST(ALogWithoutMailAddresses, HasWhatIsAroundEachDelimiter) {
    for (const char delimiter : std::string(" \t\n\"'<>(),;=/\\[]{}|"))
        EXPECT_EQ(withoutMailAddresses(std::string("x") + delimiter + "ann@example.org" + delimiter + "y"),
                  std::string("x") + delimiter + "[mail]" + delimiter + "y");
}

TEST(ARedactor, TakesABackslashAtTheBeginningOfAWordForAName) {
    const Redactor redactor;
    for (const char delimiter : std::string(" \t\n\"'(=:"))
        EXPECT_EQ(redactor.redacted(std::string("x") + delimiter + "\\a b"), std::string("x") + delimiter + "[name]");
    EXPECT_EQ(redactor.redacted("\\a"), "[name]");
    EXPECT_EQ(redactor.redacted("x\\a \\b"), "x\\a [name]");
}

TEST(ARedactor, RemovesASecretOfFewerThanSixBytesAsAWordOnly) {
    Redactor redactor;
    redactor.addSecret("abcde", "five");
    redactor.addSecret("uvwxyz", "six");
    EXPECT_EQ(redactor.redacted("abcde"), "[five]");
    EXPECT_EQ(redactor.redacted("xabcde"), "xabcde");
    EXPECT_EQ(redactor.redacted("abcde-abcde xabcde abcdex _abcde abcde_ abcde\xC3\xA9 \xC3\xA9"
                                "abcde 1abcde"),
              "[five]-[five] xabcde abcdex _abcde abcde_ abcde\xC3\xA9 \xC3\xA9"
              "abcde 1abcde");
    EXPECT_EQ(redactor.redacted("uvwxyz xuvwxyzx"), "[six] x[six]x");
}

TEST(ARedactor, RemovesALongerSecretBeforeOneThatIsAPartOfIt) {
    Redactor redactor;
    redactor.addSecret("secret", "short");
    redactor.addSecret("secret-and-more", "long");
    EXPECT_EQ(redactor.redacted("secret-and-more secret"), "[long] [short]");
}

TEST(ARedactor, LeavesUnreservedCharactersOfAUrlAsTheyAre) {
    Redactor redactor;
    redactor.addSecret("a-b._~/Z9 \x7F", "x");
    EXPECT_EQ(redactor.redacted("?q=a-b._~%2FZ9%20%7F&"), "?q=[x]&");
}

TEST(ARedactor, ShowsTheErrorOfASystemCallBehindAName) {
    const Redactor redactor;
    EXPECT_EQ(redactor.redacted("The item a: Operation not permitted"), "The item [name]: Operation not permitted");
    EXPECT_EQ(redactor.redacted("The item a: Memory page has hardware error"),
              "The item [name]: Memory page has hardware error");
    EXPECT_EQ(redactor.redacted("The item a: Success"), "The item [name]");
    EXPECT_EQ(redactor.redacted("/a/QuenmarkTemp/"), "/a/QuenmarkTemp/");
}

} // namespace ToolTest
