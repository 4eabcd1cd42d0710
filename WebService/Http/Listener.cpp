#include "WebService/Http/Listener.h"

#include <boost/asio/io_context.hpp>

#include <charconv>
#include <cstdint>
#include <sstream>
#include <stdexcept>

namespace webservice {

using boost::asio::ip::tcp;

ListenAddress parseListenAddress(std::string_view text) {
    ListenAddress address;
    const std::size_t colon = text.rfind(':');
    const std::string_view port = colon == std::string_view::npos ? text : text.substr(colon + 1);
    std::uint16_t number = 0;
    const auto [end, error] = std::from_chars(port.data(), port.data() + port.size(), number);
    if (port.empty() || error != std::errc() || end != port.data() + port.size())
        throw std::invalid_argument("a port from 0 to 65535 is missing");
    address.port = port;
    if (colon != std::string_view::npos) {
        std::string_view host = text.substr(0, colon);
        const bool bracketed = host.starts_with('[') && host.ends_with(']');
        if (bracketed)
            host = host.substr(1, host.size() - 2);
        if (host.empty() || (!bracketed && host.find(':') != std::string_view::npos))
            throw std::invalid_argument("the host is malformed");
        address.host = host;
    }
    return address;
}

tcp::acceptor listenOn(boost::asio::io_context& context, const ListenAddress& address) {
    boost::system::error_code error;
    for (const auto& entry : tcp::resolver(context).resolve(address.host, address.port, tcp::resolver::passive)) {
        tcp::acceptor acceptor(context);
        acceptor.open(entry.endpoint().protocol(), error);
        if (!error)
            acceptor.set_option(tcp::acceptor::reuse_address(true), error);
        if (!error)
            acceptor.bind(entry.endpoint(), error);
        if (!error)
            acceptor.listen(tcp::acceptor::max_listen_connections, error);
        if (!error)
            return acceptor;
    }
    throw boost::system::system_error(error);
}

std::string addressText(const tcp::endpoint& endpoint) {
    std::ostringstream text;
    text << endpoint;
    return text.str();
}

} // namespace webservice
