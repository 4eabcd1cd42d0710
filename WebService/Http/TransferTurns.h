#pragma once

#include <boost/asio/any_io_executor.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/steady_timer.hpp>

#include <cstddef>

namespace webservice {

/// The turns of the connections that send files: a few of them send a piece in each turn of the loop, one after the
/// other. However many downloads there are, a short request waits for those few pieces alone.
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
    boost::asio::steady_timer gate_; // never expires; those that wait for it are let through one by one
    std::size_t waiting_ = 0;
};

} // namespace webservice
