// The road of an item in managed mode under every failure, at every stage: without a call it arrives identical, is
// acknowledged once, and no byte is fetched twice that was written before.

#include "TopFileUploadXpcService/DeliveryFixture.h"

#include <filesystem>
#include <fstream>

namespace Quenmark {

class TheRoadOfAnItem : public DeliveryFixture {
protected:
    using Offsets = std::vector<std::size_t>;

    TheRoadOfAnItem() {
        nobody.stopListening();
        start();
    }

    /// How a connection fails before there is a whole response.
    enum class Break { Reset, Close, Stall, ResetInTheHead, CloseInTheHead, StallInTheHead };
    static constexpr Break everyBreak[] = {Break::Reset,          Break::Close,          Break::Stall,
                                           Break::ResetInTheHead, Break::CloseInTheHead, Break::StallInTheHead};
    static constexpr Break resetCloseAndStall[] = {Break::Reset, Break::Close, Break::Stall};

    /// Breaks the connection of the latest request to `target`, and waits until the attempt has failed.
    void breakNow(Break how, std::string_view target) {
        const auto before = failures();
        const auto connection = last(target).connection;
        if (how == Break::Stall || how == Break::StallInTheHead) {
            pass(59.9);
            EXPECT_EQ(failures(), before) << "no response for less than a minute";
            pass(0.2);
        } else if (how == Break::Reset || how == Break::ResetInTheHead) {
            server.reset(connection);
        } else {
            server.close(connection);
        }
        ASSERT_TRUE(runUntil([&] { return failures() == before + 1; })) << target << " " << int(how);
    }
    /// Lets the next request to `target` fail in that way.
    void breakNext(Break how, const std::string& target) {
        const bool inTheHead = how >= Break::ResetInTheHead;
        const auto before = count(target);
        server.enqueue(target, HttpReply::raw(inTheHead ? "HTTP/1.1 200 OK\r\nReturnSta" : ""));
        ASSERT_TRUE(letTimePassUntil([&] { return count(target) == before + 1; }));
        breakNow(how, target);
    }
    /// The request that follows one to `target` finds nobody who listens.
    void refuseAfter(std::string_view target) {
        const auto before = failures();
        requested = [this, target](const HttpRequest& request) {
            if (request.target == target)
                settings.serviceHost = nobody.host();
        };
        ASSERT_TRUE(waitForOneMoreFailure(before));
        requested = nullptr;
        settings.serviceHost = server.host();
        EXPECT_TRUE(hasFailed("transport -1004", 2));
    }
    /// Sends the item from `offset` up to `stop`, and breaks the connection there.
    void breakBodyAt(std::size_t offset, std::size_t stop, Break how) {
        const auto whole = streamFrom(offset);
        const auto before = count(streamTarget);
        server.enqueue(streamTarget, whole.cutAfter(whole.bytes().size() - (content().size() - stop)));
        ASSERT_TRUE(letTimePassUntil([&] { return count(streamTarget) == before + 1 && bytesOnDisk() == stop; }));
        breakNow(how, streamTarget);
        EXPECT_EQ(bytesOnDisk(), stop);
    }

    static constexpr const char* badResponse = "bad response";
    static constexpr std::size_t tenth = 10'000;
    static constexpr std::size_t partial = 4 * tenth;
    TestSupport::HttpServer nobody;
};

TEST_P(TheRoadOfAnItem, GoesOnAfterAPollThatBreaksOff) {
    for (const auto how : everyBreak) {
        offerNext();
        breakNext(how, pollTarget);
        expectArrival({0});
    }
}

TEST_P(TheRoadOfAnItem, GoesOnAfterAPollThatNobodyTakes) {
    offerNext();
    ASSERT_TRUE(runUntil([&] { return probe().gateIsOpen(); }));
    settings.serviceHost = nobody.host();
    ASSERT_TRUE(waitForOneMoreFailure(0));
    settings.serviceHost = server.host();
    EXPECT_TRUE(hasFailed("transport -1004", 2));
    expectArrival({0});
}

TEST_P(TheRoadOfAnItem, GoesOnAfterAHostThatIsNotFound) {
    settings.serviceHost = "nowhere.invalid:80";
    offerNext();
    ASSERT_TRUE(letTimePassUntil([&] { return failures() == 2; }));
    EXPECT_TRUE(hasFailed("transport -1003", 4));
    settings.serviceHost = server.host();
    expectArrival({0});
}

TEST_P(TheRoadOfAnItem, GoesOnAfterAnyStatusOfAPoll) {
    for (const auto* status : {"", R"("1")", R"("2")", R"("-1")", R"("abc")", "null", "[]", "0"}) {
        offerNext();
        server.enqueue(pollTarget, HttpReply::json(pollOfItem(status)));
        expectArrival({0});
    }
}

TEST_P(TheRoadOfAnItem, GoesOnAfterAPollsResponseThatCannotBeRead) {
    for (const auto* body :
         {"", "no JSON", "[]", "null", "\"0\"", R"({"ReturnStatus":"0")", "{}", "\xFF",
          "{\"FileName\":\"\\\\\xFF.txt\",\"FileUploadID\":\"1\",\"IsFile\":\"True\",\"ReturnStatus\":\"0\"}"}) {
        offerNext();
        server.enqueue(pollTarget, HttpReply::json(body));
        const auto before = countOfFailures(badResponse, 2);
        expectArrival({0});
        EXPECT_EQ(countOfFailures(badResponse, 2), before + 1) << body;
    }
}

TEST_P(TheRoadOfAnItem, GoesOnAfterAStreamThatBreaksOffBeforeItsHead) {
    for (const auto how : everyBreak) {
        offerNext();
        breakNext(how, streamTarget);
        expectArrival({0, 0});
        offerNext();
        leavePartial(partial);
        breakNext(how, streamTarget);
        EXPECT_EQ(bytesOnDisk(), partial);
        expectArrival({0, partial, partial});
    }
}

TEST_P(TheRoadOfAnItem, GoesOnAfterAStreamThatNobodyTakes) {
    offerNext();
    refuseAfter(pollTarget);
    expectArrival({0});
    offerNext();
    leavePartial(partial);
    refuseAfter(pollTarget);
    expectArrival({0, partial});
}

TEST_P(TheRoadOfAnItem, ContinuesAtTheByteWhereItsStreamBrokeOff) {
    for (std::size_t stop = 0; stop < content().size(); stop += tenth) {
        for (const auto how : resetCloseAndStall) {
            offerNext();
            breakBodyAt(0, stop, how);
            expectArrival({0, stop});
        }
    }
}

TEST_P(TheRoadOfAnItem, ContinuesHoweverOftenItsStreamBreaksOff) {
    for (const auto how : resetCloseAndStall) {
        offerNext();
        Offsets offsets;
        for (std::size_t stop = 0; stop < content().size(); stop += tenth) {
            offsets.push_back(stop);
            breakBodyAt(stop, stop + tenth - 1, how);
            offsets.push_back(stop + tenth - 1);
            breakBodyAt(stop + tenth - 1, stop + tenth == content().size() ? stop + tenth - 1 : stop + tenth, how);
        }
        offsets.push_back(content().size() - 1);
        expectArrival(offsets);
    }
}

TEST_P(TheRoadOfAnItem, ContinuesAfterABodyInChunksThatWasCut) {
    offerNext();
    const auto before = failures();
    const std::string headers = headersWithoutLength("Transfer-Encoding: chunked");
    server.enqueue(streamTarget, HttpReply::raw(headers + "2710\r\n" + content().substr(0, tenth) + "\r\n2710\r\n" +
                                                content().substr(tenth, 1))
                                     .thenClose());
    ASSERT_TRUE(waitForOneMoreFailure(before));
    EXPECT_EQ(bytesOnDisk(), tenth + 1);
    expectArrival({0, tenth + 1});
}

TEST_P(TheRoadOfAnItem, ContinuesAfterABodyThatEndsTooEarly) {
    offerNext();
    leavePartial(partial);
    const auto before = failures();
    const std::string headers = headersWithoutLength("Connection: close");
    server.enqueue(streamTarget, HttpReply::raw(headers + content().substr(partial, tenth)).thenClose());
    ASSERT_TRUE(waitForOneMoreFailure(before));
    EXPECT_EQ(bytesOnDisk(), partial + tenth);
    expectArrival({0, partial, partial + tenth});
}

TEST_P(TheRoadOfAnItem, KeepsItsPartialFileAfterAStreamThatIsRefused) {
    for (const auto* status : {"1", "2", "-1"}) {
        for (const auto* body : {"", "not the item"}) {
            offerNext();
            leavePartial(partial);
            auto fields = goodFields();
            fields[0].second = status;
            const auto before = failures();
            server.enqueue(streamTarget, HttpReply::ok(body, fields));
            ASSERT_TRUE(waitForOneMoreFailure(before));
            EXPECT_EQ(bytesOnDisk(), partial);
            expectArrival({0, partial, partial});
        }
    }
}

TEST_P(TheRoadOfAnItem, TakesAStreamOfItsOwnWhoseStatusIsNoNumber) {
    offerNext();
    auto fields = goodFields();
    fields[0].second = "abc";
    server.enqueue(streamTarget, HttpReply::ok(content(), fields));
    expectArrival({0});
    offerNext();
    fields = goodFields();
    fields.erase(fields.begin());
    server.enqueue(streamTarget, HttpReply::ok(content(), fields));
    expectArrival({0});
}

TEST_P(TheRoadOfAnItem, KeepsItsPartialFileAfterAStreamThatIsNotTheItems) {
    const std::vector<HttpReply> replies = {HttpReply::ok(""),
                                            HttpReply::ok("[]"),
                                            HttpReply::json(R"({"ReturnStatus":"0"})"),
                                            HttpReply::ok("text", {{"ReturnStatus", "0"}}),
                                            HttpReply::ok("text", {{"ReturnStatus", "abc"}}),
                                            HttpReply::status(500, "error"),
                                            HttpReply::raw("no HTTP\r\n\r\n").thenClose()};
    for (const auto& reply : replies) {
        offerNext();
        leavePartial(partial);
        const auto before = failures();
        server.enqueue(streamTarget, reply);
        ASSERT_TRUE(waitForOneMoreFailure(before));
        EXPECT_EQ(bytesOnDisk(), partial) << reply.bytes();
        expectArrival({0, partial, partial});
    }
}

TEST_P(TheRoadOfAnItem, KeepsItsPartialFileAfterAStreamWithoutBytes) {
    offerNext();
    leavePartial(partial);
    const auto before = failures();
    server.enqueue(streamTarget, HttpReply::ok("", goodFields()));
    ASSERT_TRUE(waitForOneMoreFailure(before));
    EXPECT_EQ(bytesOnDisk(), partial);
    expectArrival({0, partial, partial});
}

TEST_P(TheRoadOfAnItem, GivesAPartialFileUpAfterThreeStreamsWithoutBytes) {
    offerNext();
    leavePartial(partial);
    for (int time = 0; time < 3; ++time)
        server.enqueue(streamTarget, HttpReply::ok("", goodFields()));
    expectArrival({0, partial, partial, partial, 0});
}

TEST_P(TheRoadOfAnItem, StartsAnewWhereItsPartialFileIsLongerThanTheItem) {
    offerNext();
    leavePartial(partial);
    std::filesystem::resize_file(temporary(localName()), content().size() + 1);
    expectArrival({0, 0});
}

TEST_P(TheRoadOfAnItem, IsPlacedWhereTheServiceEndedBehindItsLastByte) {
    offerNext();
    leavePartial(content().size() - 1);
    std::ofstream(temporary(localName()), std::ios::app) << content().back();
    expectArrival({0, content().size()});
}

TEST_P(TheRoadOfAnItem, TakesNoStreamWhosePartialFileHasGoneMeanwhile) {
    offerNext();
    leavePartial(partial);
    const auto before = failures();
    server.enqueue(streamTarget, HttpReply::silence());
    ASSERT_TRUE(letTimePassUntil([&] { return offsets() == Offsets({0, partial}); }));
    std::filesystem::remove(temporary(localName()));
    server.send(last(streamTarget).connection, headersWithoutLength("Connection: close") + content().substr(partial));
    ASSERT_TRUE(runUntil([&] { return failures() == before + 1; }));
    EXPECT_EQ(bytesOnDisk(), 0U);
    server.close(last(streamTarget).connection);
    expectArrival({0, partial, 0});
}

TEST_P(TheRoadOfAnItem, IsAcknowledgedAgainAfterAnAcknowledgementThatBreaksOff) {
    for (const auto how : everyBreak) {
        offerNext();
        breakNext(how, acknowledgeTarget);
        EXPECT_TRUE(contentOf(placed(localName())) == content());
        expectArrival({0});
    }
}

TEST_P(TheRoadOfAnItem, IsAcknowledgedAgainAfterAnAcknowledgementThatNobodyTakes) {
    offerNext();
    const auto before = failures();
    requested = [this](const HttpRequest& request) {
        if (request.target == streamTarget)
            settings.serviceHost = nobody.host();
    };
    ASSERT_TRUE(waitForOneMoreFailure(before));
    requested = nullptr;
    settings.serviceHost = server.host();
    EXPECT_TRUE(hasFailed("acknowledgement failed", 2));
    expectArrival({0});
}

TEST_P(TheRoadOfAnItem, IsAcknowledgedAgainAfterAnyResponseThatIsNoConfirmation) {
    for (const auto* body : {"", "no JSON", "[]", "null", "\"0\"", R"({"ReturnStatus":"0")", "{}",
                             R"({"Message":"an error has occurred"})", R"({"ReturnStatus":null})",
                             R"({"ReturnStatus":[]})", R"({"ReturnStatus":"1"})", R"({"ReturnStatus":"2"})",
                             R"({"ReturnStatus":"-1"})", R"({"ReturnStatus":"abc"})", R"({"ReturnStatus":""})"}) {
        offerNext();
        const auto before = failures();
        server.enqueue(acknowledgeTarget, HttpReply::json(body));
        expectArrival({0});
        EXPECT_EQ(failures(), before + 1) << body;
    }
}

TEST_P(TheRoadOfAnItem, IsConfirmedByANumberAsByAText) {
    offerNext();
    server.enqueue(acknowledgeTarget, HttpReply::json(R"({"ReturnStatus":0})"));
    ASSERT_TRUE(letTimePassUntil([&] { return count(pollTarget) == 2; }));
    EXPECT_EQ(failures(), 0U);
    EXPECT_TRUE(contentOf(placed(localName())) == content());
}

TEST_P(TheRoadOfAnItem, IsAcknowledgedAgainByTheNextProcess) {
    for (const auto how : resetCloseAndStall) {
        offerNext();
        breakNext(how, acknowledgeTarget);
        restart();
        start();
        expectArrival({0});
    }
}

INSTANTIATE_TEST_SUITE_P(Transports, TheRoadOfAnItem, ::testing::Values(release10_10, release10_7), transportName);

} // namespace Quenmark
