#include "WebService/Http/TransferTurns.h"

#include <boost/asio/post.hpp>
#include <boost/asio/redirect_error.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <algorithm>

namespace webservice {

namespace asio = boost::asio;

TransferTurns::TransferTurns(asio::any_io_executor loop)
    : loop_(std::move(loop)), waiters_(loop_, asio::steady_timer::time_point::max()) {}

asio::awaitable<void> TransferTurns::next() {
    if (++waiting_ == 1)
        schedule();
    boost::system::error_code ignored;
    co_await waiters_.async_wait(asio::redirect_error(asio::use_awaitable, ignored));
}

/// What is ready on the loop runs before those that are let through, and before the next ones are.
void TransferTurns::schedule() {
    asio::post(loop_, [this] {
        const std::size_t count = std::min(waiting_, piecesPerTurn);
        waiting_ -= count;
        for (std::size_t index = 0; index < count; ++index)
            waiters_.cancel_one();
        if (waiting_ > 0)
            schedule();
    });
}

} // namespace webservice
