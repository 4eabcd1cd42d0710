// Addresses to listen on.

#include "WebService/Http/Listener.h"

#include <boost/asio/io_context.hpp>
#include <gtest/gtest.h>

#include <optional>

namespace webservice {

TEST(AListenAddress, IsHostAndPortOrAPortOnLoopback) {
    EXPECT_EQ(parseListenAddress("127.0.0.1:8080").host, "127.0.0.1");
    EXPECT_EQ(parseListenAddress("127.0.0.1:8080").port, "8080");
    EXPECT_EQ(parseListenAddress("[::1]:0").host, "::1");
    EXPECT_EQ(parseListenAddress("localhost:65535").host, "localhost");
    EXPECT_EQ(parseListenAddress("8080").host, "127.0.0.1");
}

TEST(AListenAddress, IsRefusedWhenMalformed) {
    for (const char* text :
         {"", ":", "host", "host:", ":80", "h:65536", "h:-1", "h:80x", "::1:80", "[]:80", "[::1:80", "::1]:80"})
        EXPECT_THROW(parseListenAddress(text), std::invalid_argument) << text;
}

TEST(AListener, UsesAFreePortAndReportsIt) {
    boost::asio::io_context context;
    const auto first = listenOn(context, {.host = "127.0.0.1", .port = "0"});
    const std::string address = addressText(first.local_endpoint());
    EXPECT_TRUE(address.starts_with("127.0.0.1:")) << address;
    EXPECT_THROW(listenOn(context, parseListenAddress(address)), boost::system::system_error);
}

TEST(AListener, UsesAPortAgainWhoseLastConnectionItHasClosed) {
    boost::asio::io_context context;
    std::optional<boost::asio::ip::tcp::acceptor> first = listenOn(context, {.host = "127.0.0.1", .port = "0"});
    const auto address = first->local_endpoint();
    boost::asio::ip::tcp::socket client(context);
    client.connect(address);
    // The side that closes first keeps the address for a while (TIME-WAIT, RFC 9293, section 3.3.2).
    first->accept().close();
    char byte = 0;
    boost::system::error_code end;
    client.read_some(boost::asio::buffer(&byte, 1), end);
    client.close();
    first.reset();
    EXPECT_EQ(listenOn(context, parseListenAddress(addressText(address))).local_endpoint(), address);
}

TEST(AListener, HasAnAddressOfVersion6InBrackets) {
    EXPECT_EQ(addressText({boost::asio::ip::make_address("::1"), 80}), "[::1]:80");
}

TEST(AListenAddress, IsOnLoopbackUnlessToldOtherwise) {
    EXPECT_EQ(ListenAddress{}.host, "127.0.0.1");
    EXPECT_EQ(parseListenAddress("0.0.0.0:65535").host, "0.0.0.0");
    EXPECT_EQ(parseListenAddress("0").port, "0");
}

} // namespace webservice
