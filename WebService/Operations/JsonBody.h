#pragma once

#include <boost/json.hpp>

#include <cstddef>
#include <memory>
#include <string_view>

namespace webservice {

/// A JSON text that is parsed as it arrives. The memory for that is bounded: a text of many short values takes a
/// multiple of its length.
class JsonBody {
public:
    JsonBody();
    JsonBody(const JsonBody&) = delete;
    JsonBody& operator=(const JsonBody&) = delete;
    ~JsonBody();

    /// Parses the next piece. An error is kept for value(); what follows it is ignored.
    void receive(std::string_view piece);

    /// The text's value once all of it has been received, which lives as long as the body does. Throws RequestError:
    /// "NotJson" with the place of the error, "TooLong" when its parsed form takes more than 64 MiB.
    const boost::json::value& value();

    /// The bytes of memory that hold what was received.
    std::size_t memory() const;

private:
    class Parts;
    std::unique_ptr<Parts> parts_;
};

} // namespace webservice
