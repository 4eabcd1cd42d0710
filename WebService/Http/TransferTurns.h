#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/steady_timer.hpp>

#include <cstddef>

namespace webservice {

/// Schedules file transfers round-robin: at most `piecesPerTurn` pieces are sent per turn of the loop, so that any
/// number of downloads delays a short request by only that many.
class TransferTurns {
public:
    /// How many pieces are sent in a turn of the loop.
    static constexpr std::size_t piecesPerTurn = 8;

    explicit TransferTurns(boost::asio::any_io_executor loop);

    /// Waits until it is the caller's turn to send a piece.
    boost::asio::awaitable<void> next();

private:
    void schedule();

    boost::asio::any_io_executor loop_;
    boost::asio::steady_timer waiters_; // never expires; cancelled once for each waiter that may proceed
    std::size_t waiting_ = 0;
};

} // namespace webservice
