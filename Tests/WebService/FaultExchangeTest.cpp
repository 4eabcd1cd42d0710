// An operation's exchange that a plan of faults may let go wrong.

#include "WebService/FaultExchange.h"

#include "Support/TestState.h"
#include "WebService/Faults/FaultPlanParser.h"

namespace webservice::test {

namespace {

/// Works in three steps and responds in the fourth, or fails there.
class FourSteps : public Exchange {
public:
    static constexpr std::size_t ownMemory = 1000;

    explicit FourSteps(bool fails) : fails_(fails) {}

    void receive(std::string_view piece) override { received_ += piece; }
    std::size_t memory() const override { return ownMemory; }
    Response finish() override { return jsonResponse(200, "finished"); }
    std::optional<Response> step() override {
        if (++steps_ < 4)
            return std::nullopt;
        if (fails_)
            throw RequestError("NoLuck", "it fails", 409);
        return jsonResponse(200, "done " + received_);
    }

private:
    bool fails_;
    int steps_ = 0;
    std::string received_;
};

class AFaultyExchange : public WithState {
protected:
    static constexpr const char* poll = "Uploads.svc/GetTopFileUpload";
    static constexpr const char* upload = "Downloads.svc/UpdateFileRequestWithStream";
    static constexpr std::size_t ownMemory = FourSteps::ownMemory;
    const std::string shortBody = R"("action":{"kind":"body","text":"x"})";
    const std::string delay = R"("action":{"kind":"delay","seconds":1})";

    std::unique_ptr<Exchange> exchange(std::string_view faults, std::string_view operation = poll, bool fails = false) {
        plan = parseFaultPlan(R"({"faults":[)" + std::string(faults) + "]}");
        const Request request{.method = "POST", .target = "/", .headers = {}};
        return withFaults(plan, state->db, *findOperation(operation), request, std::make_unique<FourSteps>(fails));
    }

    FaultPlan plan;
};

} // namespace

TEST_F(AFaultyExchange, IsCountedOnceHoweverManyStepsItTakes) {
    const auto faulty = exchange(R"({"times":0,)" + shortBody + "},{" + shortBody + "}");
    for (int i = 0; i < 3; ++i)
        EXPECT_FALSE(faulty->step());
    const auto response = faulty->step();
    ASSERT_TRUE(response);
    EXPECT_EQ(response->body, "x");
    EXPECT_EQ(response->fault, 1U);
    EXPECT_EQ(plan.json(), R"({"faults":[{"times":0,)" + shortBody + R"(,"seen":1,"applied":0},{)" + shortBody +
                               R"(,"seen":1,"applied":1}]})");
}

TEST_F(AFaultyExchange, DoesItsWorkWhereNothingIsToHappen) {
    for (const std::string& faults : {std::string(), R"({"path":"nothing",)" + shortBody + "}"}) {
        const auto whole = exchange(faults);
        whole->receive("a");
        whole->receive("b");
        std::optional<Response> response;
        for (int i = 0; i < 4; ++i) {
            EXPECT_FALSE(response);
            response = whole->step();
        }
        ASSERT_TRUE(response);
        EXPECT_EQ(response->body, "done ab");
        EXPECT_FALSE(response->fault);
    }
}

TEST_F(AFaultyExchange, FinishesAllOfItsStepsAtOnce) {
    EXPECT_EQ(exchange("{" + shortBody + "}")->finish().body, "x");
}

TEST_F(AFaultyExchange, GivesItsErrorInTheWayThatThePlanSays) {
    const auto faulty = exchange("{" + delay + "}", poll, true);
    const Response response = faulty->finish();
    EXPECT_EQ(response.status, 409);
    EXPECT_EQ(response.body, R"({"ReturnStatus":"1","error":{"code":"NoLuck","message":"it fails"}})");
    ASSERT_TRUE(response.transmission);
    EXPECT_EQ(response.transmission->delay, std::chrono::seconds(1));
    EXPECT_THROW(exchange(R"({"times":0,)" + delay + "}", poll, true)->finish(), RequestError);
}

TEST_F(AFaultyExchange, HoldsTheBodyTwiceWhereTheComputerDecides) {
    const std::string ofSeven = R"({"computer":"7",)" + delay + "}";
    const auto memory = [&](std::string_view faults, std::string_view operation) {
        const auto faulty = exchange(faults, operation);
        faulty->receive(R"({"ToComputerID":")" + std::string(100'000, 'x') + "\"}");
        return faulty->memory();
    };
    EXPECT_GT(memory(ofSeven, poll), ownMemory + 100'000);
    EXPECT_LT(memory(ofSeven, poll), ownMemory + 1'000'000);
    EXPECT_EQ(memory("{" + delay + "}", poll), ownMemory);
    EXPECT_EQ(memory(R"({"path":"MAC/*","computer":"7",)" + delay + "}", poll), ownMemory);
    EXPECT_EQ(memory(ofSeven, upload), ownMemory) << "the content of a file is no JSON";
}

} // namespace webservice::test
