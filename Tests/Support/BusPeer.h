#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

struct sd_bus;
struct sd_bus_message;

namespace TestSupport {

/// Another program on the session bus: a plain connection of its own, made with nothing but the platform's bus
/// library, which runs on this process's run loop.
class BusPeer {
public:
    /// The reply to a call.
    struct Reply {
        /// Empty where the call succeeded.
        std::string errorName;
        std::string errorText;
        /// The types of the reply's values, and the first of them where it is a string.
        std::string signature;
        std::string text;

        bool operator==(const Reply&) const = default;
        friend std::ostream& operator<<(std::ostream& stream, const Reply& reply) {
            return stream << '{' << reply.errorName << "; " << reply.errorText << "; " << reply.signature << "; "
                          << reply.text << '}';
        }
    };
    struct Target {
        std::string destination;
        std::string objectPath;
        std::string interface;
        std::string method;
    };
    /// Appends a message's arguments.
    using Fill = std::function<void(sd_bus_message*)>;
    using Message = std::unique_ptr<sd_bus_message, void (*)(sd_bus_message*)>;

    BusPeer();
    /// Leaves the bus.
    ~BusPeer();
    BusPeer(const BusPeer&) = delete;
    BusPeer& operator=(const BusPeer&) = delete;

    std::string uniqueName() const;
    /// The unique name of whoever has that name; "" while nobody has.
    std::string ownerOf(const std::string& name);
    /// Runs the loop until somebody on the bus has that name, and other than `former`; says whether that was in time.
    bool waitForOwner(const std::string& name, const std::string& former = "");
    sd_bus* handle() const;

    /// Calls and runs the loop until there is a reply; nil where none comes in time.
    std::optional<Reply> call(const Target& target, const Fill& fill = nullptr);
    /// Calls and keeps the reply in `reply`, once it comes.
    void start(const Target& target, const Fill& fill, std::shared_ptr<std::optional<Reply>> reply);
    /// Calls without asking for a reply.
    void send(const Target& target, const Fill& fill = nullptr);
    /// Waits until everything that was called or sent has left for the bus.
    void flush();

    /// Calls by other programs, and replies that no call of this one waits for, in the order in which they came.
    const std::vector<Message>& received() const;

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace TestSupport
