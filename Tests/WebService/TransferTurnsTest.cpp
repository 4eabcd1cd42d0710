#include "WebService/Http/TransferTurns.h"

#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/post.hpp>
#include <gtest/gtest.h>

#include <functional>
#include <vector>

namespace webservice::test {

namespace {

namespace asio = boost::asio;

asio::awaitable<void> sendPieces(TransferTurns& turns, int count, std::function<void()> send) {
    for (; count > 0; --count) {
        co_await turns.next();
        send();
    }
}

} // namespace

TEST(ManyTransfers, SendEightPiecesInATurnOfTheLoopOneAfterTheOther) {
    asio::io_context context(1);
    TransferTurns turns(context.get_executor());
    constexpr std::size_t transfers = 20;
    constexpr int pieces = 3;
    std::vector<std::size_t> sent;
    std::vector<std::size_t> sentBetween; // two turns of something else on the loop
    for (std::size_t number = 0; number < transfers; ++number)
        asio::co_spawn(context, sendPieces(turns, pieces, [&, number] { sent.push_back(number); }), asio::detached);
    std::size_t before = 0;
    const std::function<void()> other = [&] {
        sentBetween.push_back(sent.size() - before);
        before = sent.size();
        if (sent.size() < transfers * pieces)
            asio::post(context, other);
    };
    asio::post(context, other);
    context.run();
    ASSERT_EQ(sent.size(), transfers * pieces);
    for (std::size_t index = 0; index < sent.size(); ++index)
        EXPECT_EQ(sent[index], index % transfers) << index;
    for (const std::size_t count : sentBetween)
        EXPECT_LE(count, 8U);
    EXPECT_GE(sentBetween.size(), transfers * pieces / 8);
}

TEST(ManyTransfers, LeaveNoneBehindWhateverTheirNumber) {
    for (std::size_t transfers = 1; transfers <= 17; ++transfers) {
        asio::io_context context(1);
        TransferTurns turns(context.get_executor());
        std::size_t sent = 0;
        for (std::size_t number = 0; number < transfers; ++number)
            asio::co_spawn(context, sendPieces(turns, 1, [&] { ++sent; }), asio::detached);
        context.poll(); // Where one is left behind, run() would wait for it.
        EXPECT_EQ(sent, transfers);
    }
}

TEST(ManyTransfers, AreNotNeededForOneToGoOnAtOnce) {
    asio::io_context context(1);
    TransferTurns turns(context.get_executor());
    int sent = 0;
    asio::co_spawn(context, sendPieces(turns, 1000, [&] { ++sent; }), asio::detached);
    context.run();
    EXPECT_EQ(sent, 1000);
}

} // namespace webservice::test
