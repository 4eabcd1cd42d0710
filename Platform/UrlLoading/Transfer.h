#pragma once

#include "Platform/Error.h"
#include "Platform/FileDescriptor.h"
#include "Platform/UrlLoading/PieceBuffer.h"
#include "Platform/UrlLoading/RequestHead.h"
#include "Platform/UrlLoading/ResponseHead.h"
#include "Platform/UrlLoading/SocketBody.h"
#include "Platform/UrlLoading/Url.h"

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

namespace Platform {

class TransferDriver;

/// A file that is sent as a body, read as it goes.
struct BodyFile {
    FileDescriptor file;
    std::uint64_t size = 0;
};

/// One request and its answer on one connection, and the only owner of the transport's handle for it, which serves no
/// other transfer. Redirects are answers like others here, and nothing has a time limit.
class Transfer {
public:
    /// What is sent. All of it must outlive the transfer.
    struct Request {
        const Url& url;
        const RequestHead& head;
        std::variant<std::monostate, std::string_view, const BodyFile*> body;
    };
    /// How a transfer ended: well, or with an error.
    struct Outcome {
        std::optional<Error> error;
    };

    /// `changed` is called whenever something below may have changed, never from inside the transport; it may destroy
    /// the transfer. It may be called before `start` or `continueReading` returns.
    Transfer(TransferDriver& driver, const Request& request, std::function<void()> changed);
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;
    /// Ends the transfer wherever it stands; a connection in the middle of an answer is closed.
    ~Transfer();

    /// Begins as soon as there is a slot for it. Throws where it cannot.
    void start();
    /// Goes on without its slot, which the transfer that has waited longest gets.
    void releaseSlot() noexcept;

    const Url& url() const { return request_.url; }
    /// The head of the answer; still being read, complete or malformed.
    const ResponseHead& head() const { return head_; }
    ResponseHead& head() { return head_; }
    /// What was received of the body and not taken yet. Receiving stands still while it is full.
    PieceBuffer& pieces() { return pieces_; }
    /// To be called when `pieces` has room again.
    void continueReading();
    /// Nil until the transfer has ended.
    const std::optional<Outcome>& outcome() const { return outcome_; }
    /// Whether it got its slot, the connection was made or bytes went either way since this was last asked.
    bool takeProgress() { return std::exchange(progress_, false); }

private:
    friend class TransferDriver;
    struct Callbacks;
    class HeaderLines;
    /// The longest time that a connection is kept unused, in whole seconds: it is used again for one second more at
    /// most (CURLOPT_MAXAGE_CONN(3)).
    static constexpr long longestIdleSeconds = 2;
    /// Who reads the body from the connection: known when its first bytes are there.
    enum class Reader { Undecided, Transport, Changing };
    /// Why a callback broke the transfer off.
    enum class Break {
        None,
        MalformedHead,
        UnreadableFile,
        NoMemory,
        CannotWatch,
        /// It was sent on a connection that then failed, and must not be sent again.
        SentBefore,
        /// The connection holds bytes that nobody asked for, or is closed: nothing was sent.
        SpentConnection,
    };

    void makeHandle();
    void setCallbacks();
    void configureBody();
    void setHeaderFields();
    void finish(int code) noexcept;
    void finish(std::optional<Error> error) { outcome_ = Outcome{std::move(error)}; }
    std::optional<Error> errorOf(int code) const;
    bool startAgain() noexcept;
    void breakOff(Break reason) noexcept;
    void headIsComplete();
    bool maySend() const;
    bool wasSent() const;
    Break checkConnection(std::string_view local, std::string_view peer);
    bool sendsBody() const;
    std::uint64_t bodySize() const;
    bool canTakeOverConnection() const;
    void takeOverConnection();
    void continueReadingDirectly();
    void receivedFromConnection();
    void progressed() noexcept;
    void settle();
    void driverEnds() noexcept;
    void releaseHandle() noexcept;

    /// Nil once the loop has ended.
    TransferDriver* driver_;
    Request request_;
    std::function<void()> changed_;

    /// The transport's handle; nil once the transfer does without it.
    void* easy_ = nullptr;
    std::unique_ptr<HeaderLines> headerLines_;
    std::array<char, 256> errorText_{};
    /// The socket of the connection that the request goes out on; negative before.
    int connection_ = -1;
    bool onFreshConnection_ = false;
    std::uint64_t fileOffset_ = 0;
    bool paused_ = false;
    Reader reader_ = Reader::Undecided;

    ResponseHead head_;
    bool knownCoding_ = true;
    PieceBuffer pieces_;
    std::uint64_t received_ = 0;
    std::unique_ptr<SocketBody> directBody_;
    Break break_ = Break::None;
    std::optional<Outcome> outcome_;
    bool progress_ = false;
    /// Whether the driver will settle this.
    bool touched_ = false;
};

/// The address that `reference`, as a redirect gives it, means to a reader of `base` (RFC 3986, section 5); nil when it
/// means none.
std::optional<Url> resolve(const Url& base, std::string_view reference);

} // namespace Platform
