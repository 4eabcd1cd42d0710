#include "WebService/Console/Streams.h"

#include <algorithm>
#include <set>

namespace webservice {

namespace {

using namespace std::chrono_literals;

constexpr std::size_t maxStreams = 1000;
constexpr std::size_t maxNames = 65536; // the length of all names together

} // namespace

std::uint64_t Stream::bytes() const {
    const std::uint64_t sent = progress->sent();
    return offset + std::min(length, sent - std::min(sent, sentBefore));
}

std::int64_t Stream::bytesPerSecond(Clock::time_point now) {
    const Mark present{.time = now, .bytes = bytes() - offset};
    if (now - (later_ ? *later_ : earlier_).time >= 1s) {
        if (later_)
            earlier_ = *later_;
        later_ = present;
    }
    const std::chrono::duration<double> time = present.time - earlier_.time;
    return time.count() > 0
               ? static_cast<std::int64_t>(static_cast<double>(present.bytes - earlier_.bytes) / time.count())
               : 0;
}

Stream* Streams::find(std::int64_t item) {
    const auto found = std::ranges::find(streams_, item, &Stream::item);
    return found == streams_.end() ? nullptr : &*found;
}

std::map<std::string, std::int64_t, std::less<>> Streams::counts() const {
    std::map<std::string, std::set<std::int64_t>, std::less<>> items;
    for (const Stream& stream : streams_)
        items[stream.computer].insert(stream.item);
    std::map<std::string, std::int64_t, std::less<>> counts;
    for (const auto& [computer, ofComputer] : items)
        counts[computer] = static_cast<std::int64_t>(ofComputer.size());
    return counts;
}

boost::json::object Streams::json(Stream::Clock::time_point now) {
    boost::json::array list;
    std::size_t names = 0;
    for (Stream& stream : streams_) {
        names += stream.name.size();
        if (list.size() == maxStreams || names > maxNames)
            break;
        list.push_back({{"item", stream.item},
                        {"computer", stream.computer},
                        {"name", stream.name},
                        {"bytes", stream.bytes()},
                        {"total", stream.offset + stream.length},
                        {"bytesPerSecond", stream.bytesPerSecond(now)}});
    }
    return {{"streams", std::move(list)}};
}

} // namespace webservice
