#pragma once

#include "WebService/Http/RequestRecorder.h"

#include <boost/json.hpp>

#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace webservice {

/// A download of an item that is being sent.
struct Stream {
    using Clock = std::chrono::steady_clock;

    std::int64_t item = 0;
    std::string computer;
    std::string name;
    /// In the file, of the first byte that is sent.
    std::uint64_t offset = 0;
    /// How many bytes of the file are sent.
    std::uint64_t length = 0;
    const RequestProgress* progress = nullptr;
    /// How many bytes `progress` counts before the first one of the file.
    std::uint64_t sentBefore = 0;

    /// Up to which byte the file was sent, those before `offset` included.
    std::uint64_t bytes() const;

    /// The rate of the last one to two seconds, as far as it is called that often.
    std::int64_t bytesPerSecond(Clock::time_point now);

private:
    struct Mark {
        Clock::time_point time = Clock::now();
        std::uint64_t bytes = 0;
    };
    Mark earlier_;
    std::optional<Mark> later_;
};

/// The downloads that are being sent.
class Streams {
public:
    using Handle = std::list<Stream>::iterator;

    Handle add(Stream stream) { return streams_.insert(streams_.end(), std::move(stream)); }
    void remove(Handle stream) { streams_.erase(stream); }
    bool isEmpty() const { return streams_.empty(); }

    /// A download of the item; null where there is none.
    Stream* find(std::int64_t item);

    /// How many items of each computer are being downloaded.
    std::map<std::string, std::int64_t, std::less<>> counts() const;

    /// {"streams":[…]}: the oldest ones, as many as a text of some length holds.
    boost::json::object json(Stream::Clock::time_point now);

private:
    std::list<Stream> streams_;
};

} // namespace webservice
