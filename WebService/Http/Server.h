#pragma once

#include "WebService/EventLoop.h"
#include "WebService/Http/Connection.h"

#include <memory>
#include <unordered_map>
#include <vector>

namespace webservice {

// Accepts connections on a listening socket and runs them on the loop until it is destroyed, which cuts them.
class Server {
public:
    Server(EventLoop& loop, Application& application, Descriptor listener);
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;
    ~Server();

    // Ends connections on which nothing moves any more. To be called about once a second.
    void sweep();

private:
    void accept();
    void advance(int fd);
    void end(int fd);

    EventLoop& loop_;
    Application& application_;
    Descriptor listener_;
    bool full_ = false; // not accepting, until a connection ends or a second has passed
    std::vector<char> buffer_ = std::vector<char>(256 * 1024);
    struct Entry {
        std::unique_ptr<Connection> connection;
        Connection::Wait wait;
    };
    std::unordered_map<int, Entry> connections_;
};

} // namespace webservice
