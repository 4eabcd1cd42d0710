#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <string_view>

namespace webservice {

/// Header fields and body of a request or a response.
struct KeptMessage {
    /// The lines of the header fields, each with its end; a status line in front.
    std::string header;
    /// Its first bytes.
    std::string body;
    std::uint64_t size = 0;

    std::size_t memory() const { return header.size() + body.size(); }
};

/// A request that has ended.
struct JournalEntry {
    std::int64_t id = 0;
    /// When it began.
    std::string time;
    /// The client's address, "127.0.0.1:40000".
    std::string peer;
    std::string method;
    std::string target;
    /// "Uploads.svc/GetTopFileUpload"; empty for none.
    std::string_view operation;
    int status = 0;
    /// How many were sent.
    std::uint64_t bytes = 0;
    double milliseconds = 0;
    bool isComplete = false;
    /// Its place in the plan.
    std::optional<std::size_t> fault;
    KeptMessage request;
    KeptMessage response;
    /// The computer that sent it, once it was found out.
    std::optional<std::optional<std::string>> computer;

    std::size_t memory() const { return method.size() + target.size() + request.memory() + response.memory(); }
};

/// The last requests, with what was kept of their texts. There are bounds to the number of requests, to one body and to
/// all texts together, those of requests that are still being served included: the oldest bodies are given up first,
/// then the oldest requests.
class RequestJournal {
public:
    static constexpr std::size_t maxEntries = 1000;
    static constexpr std::size_t maxBody = 64 << 10;
    static constexpr std::size_t maxMemory = 16 << 20;

    /// Makes room for a text of this length; false where there is none.
    bool reserve(std::size_t bytes);

    /// Gives the room of a text back.
    void release(std::size_t bytes) { memory_ -= bytes; }

    /// Takes over a request whose texts have room already, and gives it an identifier, greater than all before.
    JournalEntry& add(JournalEntry entry);

    /// The request of that identifier; null where there is none.
    JournalEntry* find(std::int64_t id);

    /// The latest request whose identifier is below the given one; null where there is none.
    JournalEntry* before(std::int64_t id);

    void clear();

    std::size_t memory() const { return memory_; }

private:
    bool giveUpBody();
    void removeOldest();

    /// Their identifiers follow one another.
    std::deque<JournalEntry> entries_;
    std::int64_t lastId_ = 0;
    /// The bodies of all entries before it were given up.
    std::int64_t firstWithBody_ = 1;
    std::size_t memory_ = 0;
};

} // namespace webservice
