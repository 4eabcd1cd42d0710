#pragma once

#include "WebService/Descriptor.h"
#include "WebService/Http/BodyDecoder.h"
#include "WebService/Http/Exchange.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace webservice {

// One client's connection: reads requests, has them answered, sends the answers, one after the other. Every answer
// that was begun is logged with one line.
class Connection {
public:
    using Clock = std::chrono::steady_clock;

    // What the connection waits for before the next advance().
    enum class Wait { Input, Output, Nothing };

    // The socket must be non-blocking. The buffer serves for reading and may be shared between connections.
    Connection(Descriptor socket, std::string peer, Application& application, std::vector<char>& buffer);
    ~Connection();

    // Does what can be done now. After Nothing the connection is finished and is to be destroyed.
    Wait advance();

    int descriptor() const { return socket_.get(); }

    // When nothing has moved for a minute and a half.
    bool isStale(Clock::time_point now) const;

private:
    enum class Stage { Head, Body, Answer, Linger };
    enum class Progress { Made, Blocked, Ended };

    Progress step();
    Progress read();
    Progress takeHead();
    Progress takeBody();
    Progress send();
    Progress sendFile();
    Progress answered();

    void startRequest();
    void begin();
    void refuse(Response response);
    void answer(Response response);
    void log(std::string_view remark) const;
    std::string_view input() const { return std::string_view(input_).substr(taken_); }

    Descriptor socket_;
    std::string peer_;
    Application& application_;
    std::vector<char>& buffer_;
    Clock::time_point lastProgress_ = Clock::now();

    Stage stage_ = Stage::Head;
    std::string input_;
    std::size_t taken_ = 0; // of input_, already used
    std::size_t discarded_ = 0;

    RequestHead request_;
    Clock::time_point started_;
    std::optional<BodyDecoder> decoder_;
    std::unique_ptr<Exchange> exchange_;

    Response response_;
    std::string output_;
    std::size_t sent_ = 0; // of output_
    std::uint64_t bytes_ = 0;
    bool keepAlive_ = true;
};

} // namespace webservice
