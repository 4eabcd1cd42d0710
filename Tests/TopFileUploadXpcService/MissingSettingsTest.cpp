// Settings that the engine needs and does not have are named in the log, once for each change.

#include "TopFileUploadXpcService/EngineFixture.h"

namespace Quenmark {

using Platform::Log::Priority;
using TestSupport::HttpReply;

class AMissingSetting : public EngineFixture {
protected:
    AMissingSetting() {
        server.setHandler([](const auto&) { return HttpReply::json(nothing); });
    }
    std::string noComputer() const { return "computerIdKey is not set in " + file() + ": nothing is asked for"; }
    std::string noPath() const {
        return "quenmarkPathKey is not set in " + file() +
               ": items are placed under the relative path \"(null)/Quenmark\"";
    }
    std::string file() const { return home.preferencesFile(); }
    void runPasses(int passes) {
        for (int pass = 0; pass < passes; ++pass)
            nextPass();
    }
};

TEST_F(AMissingSetting, IsNotNamedWhereAllAreSet) {
    start();
    runPasses(2);
    EXPECT_EQ(log.count(noComputer()) + log.count(noPath()), 0U);
}

TEST_F(AMissingSetting, IsNamedOnceAsAnErrorWhereverItIsMissing) {
    for (const char* preferences : {R"({})", R"({"computerIdKey":null,"quenmarkPathKey":["a"]})"}) {
        setPreferences(usualPreferences());
        nextPass();
        log.clear();
        setPreferences(preferences);
        start();
        runPasses(3);
        EXPECT_EQ(log.count(noComputer()), 1U) << preferences;
        EXPECT_EQ(log.count(noPath()), 1U) << preferences;
        EXPECT_EQ(log.priorityOf(noComputer()), Priority::Error);
        EXPECT_EQ(log.priorityOf(noPath()), Priority::Error);
    }
}

TEST_F(AMissingSetting, IsNamedAgainAfterItWasSet) {
    setPreferences(R"({"computerIdKey":"7"})");
    start();
    runPasses(2);
    EXPECT_EQ(log.count(noPath()), 1U);
    EXPECT_EQ(log.count(noComputer()), 0U);
    setPreferences(usualPreferences());
    runPasses(2);
    EXPECT_EQ(log.count(noPath()), 1U);
    setPreferences(R"({"computerIdKey":7,"userIdKey":"42"})");
    runPasses(2);
    EXPECT_EQ(log.count(noPath()), 2U);
    EXPECT_EQ(log.count(noComputer()), 0U) << "a number is an identifier too";
}

TEST_F(AMissingSetting, IsNamedByEachEngineWhereThereAreNoPreferences) {
    setPreferences("no JSON");
    start();
    EXPECT_EQ(log.count(noComputer()), 1U);
    EXPECT_EQ(log.count(noPath()), 1U);
}

} // namespace Quenmark
