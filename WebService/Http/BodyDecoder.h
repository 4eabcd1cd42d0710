#pragma once

#include "WebService/Http/RequestHead.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace webservice {

// Takes a request's body out of the bytes of a connection, by its announced length or by its chunks (RFC 9112, 6 and
// 7.1; chunk extensions and trailer fields are read and dropped).
class BodyDecoder {
public:
    explicit BodyDecoder(const RequestHead& head);

    bool done() const { return state_ == State::Done; }

    // Takes framing and at most one piece of body off the front of the input and gives the piece. An empty piece while
    // the body is not done means that more input is needed. Throws BadRequest.
    std::string_view take(std::string_view& input);

private:
    enum class State { Data, ChunkSize, ChunkEnd, Trailer, Done };

    void endOfLine();
    void chunkSize();

    State state_;
    bool chunked_;
    std::uint64_t left_ = 0; // of the body or the chunk
    std::string line_;
};

} // namespace webservice
