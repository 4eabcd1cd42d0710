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
#include <string_view>
#include <variant>

struct curl_slist;

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

    void start();

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
    /// Whether the connection was made or bytes went either way since this was last asked.
    bool takeProgress() { return std::exchange(progress_, false); }

private:
    friend class TransferDriver;
    struct Callbacks;
    /// Who reads the body from the connection: known when its first bytes are there.
    enum class Reader { Undecided, Transport, Changing };

    void makeHandle();
    void configureBody();
    void setHeaderFields();
    void finish(int code);
    void finish(std::optional<Error> error) { outcome_ = Outcome{std::move(error)}; }
    bool sendsBody() const;
    std::uint64_t bodySize() const;
    bool canTakeOverConnection() const;
    void takeOverConnection();
    void receivedFromConnection();
    void progressed();
    void settle();
    void driverEnds();
    void releaseHandle();

    /// Nil once the loop has ended.
    TransferDriver* driver_;
    Request request_;
    std::function<void()> changed_;

    /// The transport's handle; nil once the transfer does without it.
    void* easy_ = nullptr;
    curl_slist* headerLines_ = nullptr;
    std::array<char, 256> errorText_{};
    /// The connection that the handle uses, as far as it was told.
    int connection_ = -1;
    std::uint64_t fileOffset_ = 0;
    bool paused_ = false;
    Reader reader_ = Reader::Undecided;

    ResponseHead head_;
    PieceBuffer pieces_;
    std::uint64_t received_ = 0;
    std::unique_ptr<SocketBody> directBody_;
    /// Why a callback broke the transfer off.
    std::optional<Error> failure_;
    std::optional<Outcome> outcome_;
    bool progress_ = false;
};

/// The address that `reference`, as a redirect gives it, means to a reader of `base` (RFC 3986, section 5); nil when it
/// means none.
std::optional<Url> resolve(const Url& base, std::string_view reference);

} // namespace Platform
