#pragma once

#include "Platform/Error.h"
#include "Platform/Files/FileDescriptor.h"
#include "Platform/UrlLoading/CurlHandles.h"
#include "Platform/UrlLoading/LoadStage.h"
#include "Platform/UrlLoading/PieceBuffer.h"
#include "Platform/UrlLoading/RequestHeaders.h"
#include "Platform/UrlLoading/ResponseHeaders.h"
#include "Platform/UrlLoading/SocketBody.h"
#include "Platform/UrlLoading/Url.h"

#include <array>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace Platform {

class TransferDriver;

/// A file that is sent as a body, read as it goes.
struct BodyFile {
    FileDescriptor file;
    std::uint64_t size = 0;
};

/// One request and its response on one connection, and the owner of the libcurl easy handle that serves it and no other
/// transfer. Redirects are not followed, and there are no timeouts.
class Transfer {
public:
    using RequestBody = std::variant<std::monostate, std::string_view, const BodyFile*>;
    /// What is sent. What it refers to must outlive the transfer.
    struct Request {
        const Url& url;
        const RequestHeaders& headers;
        RequestBody body;
    };
    /// How a transfer ended: nil error for success.
    struct Outcome {
        std::optional<Error> error;
    };

    /// `changed` is called whenever something below may have changed, never while libcurl runs; it may destroy the
    /// transfer. It may be called before `start` or `continueReading` returns, and must not throw.
    Transfer(TransferDriver& driver, const Request& request, std::function<void()> changed);
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;
    /// Ends the transfer in any state; the connection is closed unless the response is complete.
    ~Transfer();

    /// Begins as soon as there is a slot for it. Throws where it cannot.
    void start();
    /// Goes on without its slot, which the transfer that has waited longest gets.
    void releaseSlot() noexcept;

    const Url& url() const { return request_.url; }
    /// How far the request has come, while there is no response.
    LoadStage stage() const;
    /// The response's status line and header fields; still being read, complete or malformed.
    const ResponseHeaders& headers() const { return headers_; }
    ResponseHeaders& headers() { return headers_; }
    /// What was received of the body and not taken yet. Nothing is received while it is full.
    PieceBuffer& pieces() { return pieces_; }
    /// To be called when `pieces` has room again. Nothing is received before this returns.
    void continueReading();
    /// Nil until the transfer has ended.
    const std::optional<Outcome>& outcome() const { return outcome_; }
    /// How many bytes of the body were sent.
    std::uint64_t bytesSent() const;
    /// Whether it got its slot, was connected, or sent or received bytes since this was last called.
    bool takeProgress() { return std::exchange(progress_, false); }

private:
    friend class TransferDriver;
    struct Callbacks;
    /// The longest time that a connection is kept unused, in whole seconds: it is used again for one second more at
    /// most (CURLOPT_MAXAGE_CONN(3)).
    static constexpr long longestIdleSeconds = 2;

    enum class State {
        /// No request has been made.
        Created,
        /// Waits for a slot or a connection, sends the request or receives the response's headers.
        Requesting,
        /// libcurl receives the body.
        Receiving,
        /// libcurl receives nothing until the piece has been taken.
        Paused,
        /// The piece has been taken; libcurl goes on in a later turn of the loop.
        Resuming,
        /// libcurl has paused at the first bytes of a long body; its connection is taken over once it has returned.
        TakingOver,
        /// The body is received from the connection, without libcurl.
        ReceivingDirectly,
        /// A callback has aborted the transfer, which ends once libcurl has returned.
        Aborted,
        /// There is an outcome, or the loop has ended; there is no handle any more.
        Ended,
    };
    enum class AbortReason {
        None,
        MalformedHeaders,
        UnreadableFile,
        NoMemory,
        CannotWatch,
        /// It was sent on a connection that then failed, and must not be sent again.
        SentBefore,
        /// The reused connection is closed or has unsolicited data; nothing was sent.
        StaleConnection,
    };

    void enter(State next) noexcept;
    void makeHandle();
    void setUrl();
    void setTrust();
    void setCallbacks();
    void configureBody();
    void setHeaderFields();
    void finish(int code) noexcept;
    void finish(std::optional<Error> error) noexcept;
    std::optional<Error> errorOf(int code) const;
    std::optional<Error> abortError() const;
    bool startAgain() noexcept;
    void abort(AbortReason reason) noexcept;
    void headersAreComplete();
    bool receive(std::string_view bytes);
    bool maySend() const;
    bool wasSent() const;
    AbortReason checkConnection(std::string_view local, std::string_view peer);
    bool sendsBody() const;
    std::uint64_t bodySize() const;
    bool canTakeOverConnection() const;
    void resume();
    void takeOverConnection();
    void receivedFromConnection();
    void progressed() noexcept;
    void settle() noexcept;
    void driverEnds() noexcept;
    void releaseHandle() noexcept;

    /// Nil once the loop has ended.
    TransferDriver* driver_;
    Request request_;
    std::function<void()> changed_;
    State state_ = State::Created;
    AbortReason abortReason_ = AbortReason::None;

    /// Nil before the request is made, while the body is received directly, and in the end.
    CurlEasyHandle easy_;
    CurlUrl parsedUrl_;
    CurlList headerList_;
    std::array<char, 256> errorText_{};
    /// The socket of the connection that the request is sent on; negative before.
    int connection_ = -1;
    bool needsNewConnection_ = false;
    std::uint64_t fileOffset_ = 0;

    ResponseHeaders headers_;
    PieceBuffer pieces_;
    std::uint64_t received_ = 0;
    std::unique_ptr<SocketBody> directBody_;
    std::optional<Outcome> outcome_;
    bool progress_ = false;

    /// The driver's: where it lists this transfer, and whether among those whose change is to be reported.
    std::list<Transfer*>::iterator listed_;
    bool changePending_ = false;
};

} // namespace Platform
