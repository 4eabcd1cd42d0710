#include "Platform/UrlLoading/TransferDriver.h"

#include "Platform/Files/FileDescriptor.h"
#include "Platform/Log.h"
#include "Platform/UrlLoading/ConnectionSlots.h"
#include "Platform/UrlLoading/CurlHandles.h"
#include "Platform/UrlLoading/Transfer.h"
#include "Platform/UrlLoading/TransportSockets.h"

#include <sys/epoll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <list>
#include <optional>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace Platform {

namespace {

/// How many idle connections stay open.
constexpr std::size_t idleConnections = 8;
/// How many transfers have a connection to one origin at once; those beyond wait for a slot. Thousands at once would
/// run out of descriptors, and a server's queue of new connections overflows long before (listen(2)).
constexpr std::size_t connectionsPerServer = 32;
/// How often libcurl may ask to be called again at once before the loop goes on.
constexpr int roundsInARow = 8;

Duration machineTime() {
    return SystemClock().now();
}

CurlMultiHandle newMulti() {
    // What libcurl needs for the whole process is never freed.
    static const CURLcode global = curl_global_init(CURL_GLOBAL_DEFAULT);
    CurlMultiHandle multi(global == CURLE_OK ? curl_multi_init() : nullptr);
    if (!multi)
        throw std::runtime_error("curl_multi_init");
    return multi;
}

Transfer* transferOf(CURL* easy) {
    void* transfer = nullptr;
    curl_easy_getinfo(easy, CURLINFO_PRIVATE, &transfer);
    return static_cast<Transfer*>(transfer);
}

} // namespace

struct TransferDriver::State {
    explicit State(RunLoop& loop)
        : sockets(loop, [this](int socket, Transfer& transfer,
                               std::uint32_t events) { socketReady(socket, transfer, events); }),
          timer(::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)) {
        if (!timer)
            throw std::system_error(errno, std::generic_category(), "timerfd_create");
        timerWatch = loop.watch(timer.get(), EPOLLIN, [this](std::uint32_t) { timerFired(); });
        // A handle refuses none of these (curl_multi_setopt(3)).
        CURLM* handle = multi.get();
        curl_multi_setopt(handle, CURLMOPT_SOCKETFUNCTION, socketChanged);
        curl_multi_setopt(handle, CURLMOPT_SOCKETDATA, this);
        curl_multi_setopt(handle, CURLMOPT_TIMERFUNCTION, timerChanged);
        curl_multi_setopt(handle, CURLMOPT_TIMERDATA, this);
        curl_multi_setopt(handle, CURLMOPT_MAXCONNECTS, maximumConnects);
        curl_multi_setopt(handle, CURLMOPT_PIPELINING, CURLPIPE_NOTHING);
    }

    static int socketChanged(CURL* easy, curl_socket_t socket, int what, void* self, void*) noexcept;
    static int timerChanged(CURLM*, long milliseconds, void* self) noexcept;
    void limitConnections() noexcept;
    void begin(Transfer& transfer) noexcept;
    void socketReady(int socket, Transfer& transfer, std::uint32_t events);
    void timerFired();
    void perform(Transfer* cause);
    static void failed(CURLMcode result, Transfer* transfer) noexcept;
    void collectFinished();
    void armTimer() noexcept;
    void addChanged(Transfer& transfer) noexcept;
    void reportChanges() noexcept;

    TransportSockets sockets;
    CurlMultiHandle multi = newMulti();
    long maximumConnects = static_cast<long>(idleConnections);
    FileDescriptor timer;
    std::unique_ptr<DescriptorWatch> timerWatch;
    /// When libcurl wants to be called, and when the timer fires. The timer may be early: postponing it at each change
    /// would cost a system call each.
    std::optional<Duration> due;
    std::optional<Duration> armed;
    ConnectionSlots<Transfer> slots{connectionsPerServer};
    /// The transfers whose change is to be reported, in order, and the others. One moves from list to list without
    /// taking memory, so that callbacks can do that.
    std::list<Transfer*> changed;
    std::list<Transfer*> unchanged;
    bool reporting = false;
};

/// An error that is returned to libcurl here would end every transfer (CURLMOPT_SOCKETFUNCTION(3)), so only the
/// transfer that the socket serves is aborted.
int TransferDriver::State::socketChanged(CURL* easy, curl_socket_t socket, int what, void* self, void*) noexcept {
    auto& sockets = static_cast<State*>(self)->sockets;
    if (what == CURL_POLL_REMOVE) {
        sockets.detach(socket);
        return 0;
    }
    Transfer* transfer = transferOf(easy);
    try {
        sockets.watch(socket,
                      ((what & CURL_POLL_IN) != 0 ? EPOLLIN : 0U) | ((what & CURL_POLL_OUT) != 0 ? EPOLLOUT : 0U),
                      transfer);
    } catch (...) {
        transfer->abort(Transfer::AbortReason::CannotWatch);
    }
    return 0;
}

int TransferDriver::State::timerChanged(CURLM*, long milliseconds, void* self) noexcept {
    auto& due = static_cast<State*>(self)->due;
    if (milliseconds < 0)
        due.reset();
    else
        due = machineTime() + std::chrono::milliseconds(milliseconds);
    return 0;
}

/// libcurl's limit includes the connections in use, and is applied when one becomes idle.
void TransferDriver::State::limitConnections() noexcept {
    const auto limit = static_cast<long>(std::max(idleConnections, slots.taken()));
    if (limit == maximumConnects)
        return;
    maximumConnects = limit;
    curl_multi_setopt(multi.get(), CURLMOPT_MAXCONNECTS, limit);
}

/// Begins a transfer that has its slot.
void TransferDriver::State::begin(Transfer& transfer) noexcept {
    limitConnections();
    transfer.progressed();
    if (curl_multi_add_handle(multi.get(), transfer.easy_.get()) == CURLM_OK)
        return;
    transfer.abort(Transfer::AbortReason::NoMemory);
    due = machineTime();
}

void TransferDriver::State::socketReady(int socket, Transfer& transfer, std::uint32_t events) {
    // libcurl waits for progress: a connection that is established, room to send, bytes to receive.
    transfer.progressed();
    const int ready = ((events & EPOLLIN) != 0 ? CURL_CSELECT_IN : 0) |
                      ((events & EPOLLOUT) != 0 ? CURL_CSELECT_OUT : 0) |
                      ((events & (EPOLLERR | EPOLLHUP)) != 0 ? CURL_CSELECT_ERR : 0);
    int stillRunning = 0;
    const CURLMcode result = curl_multi_socket_action(multi.get(), socket, ready, &stillRunning);
    if (result != CURLM_OK)
        failed(result, &transfer);
    perform(nullptr);
}

void TransferDriver::State::timerFired() {
    std::uint64_t times = 0;
    [[maybe_unused]] const auto got = ::read(timer.get(), &times, sizeof times);
    armed.reset();
    perform(nullptr);
}

/// A failure of the multi handle fails the transfer that caused it, where that is known.
void TransferDriver::State::perform(Transfer* cause) {
    for (int round = 0; round < roundsInARow && due && *due <= machineTime(); ++round) {
        due.reset();
        int stillRunning = 0;
        const CURLMcode result = curl_multi_socket_action(multi.get(), CURL_SOCKET_TIMEOUT, 0, &stillRunning);
        if (result != CURLM_OK)
            failed(result, cause);
    }
    collectFinished();
    armTimer();
    reportChanges();
}

void TransferDriver::State::addChanged(Transfer& transfer) noexcept {
    if (!std::exchange(transfer.changePending_, true))
        changed.splice(changed.end(), unchanged, transfer.listed_);
}

/// A report may start or resume transfers, which brings new changes: those are reported by the call that is under way.
void TransferDriver::State::reportChanges() noexcept {
    if (std::exchange(reporting, true))
        return;
    while (!changed.empty()) {
        Transfer& transfer = *changed.front();
        transfer.changePending_ = false;
        unchanged.splice(unchanged.end(), changed, transfer.listed_);
        transfer.settle();
    }
    reporting = false;
}

void TransferDriver::State::failed(CURLMcode result, Transfer* transfer) noexcept {
    if (transfer != nullptr)
        transfer->abort(Transfer::AbortReason::NoMemory);
    try {
        Log::write(std::string("libcurl failed: ") + curl_multi_strerror(result));
    } catch (...) { // NOLINT(bugprone-empty-catch): there is no memory to log it
    }
}

void TransferDriver::State::collectFinished() {
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi.get(), &left)) {
        Transfer* transfer = message->msg == CURLMSG_DONE ? transferOf(message->easy_handle) : nullptr;
        if (transfer != nullptr)
            transfer->finish(static_cast<int>(message->data.result));
    }
}

/// Setting a timer cannot fail here (timerfd_settime(2)).
void TransferDriver::State::armTimer() noexcept {
    if (!due || (armed && *armed <= *due))
        return;
    const auto seconds = std::chrono::floor<std::chrono::seconds>(*due);
    itimerspec time{};
    time.it_value.tv_sec = seconds.count();
    time.it_value.tv_nsec = (*due - seconds).count();
    ::timerfd_settime(timer.get(), TFD_TIMER_ABSTIME, &time, nullptr);
    armed = due;
}

TransferDriver::TransferDriver(RunLoop& loop) : state_(std::make_unique<State>(loop)) {}

TransferDriver::~TransferDriver() {
    // Each is listed as changed first, so that the list stays as it is meanwhile.
    while (!state_->unchanged.empty())
        state_->addChanged(*state_->unchanged.front());
    for (Transfer* transfer : state_->changed)
        transfer->driverEnds();
}

void TransferDriver::add(Transfer& transfer) {
    transfer.listed_ = state_->unchanged.insert(state_->unchanged.end(), &transfer);
}

void TransferDriver::remove(Transfer& transfer) noexcept {
    (transfer.changePending_ ? state_->changed : state_->unchanged).erase(transfer.listed_);
}

void TransferDriver::start(Transfer& transfer) {
    if (!state_->slots.acquire(transfer, transfer.url().origin()))
        return;
    state_->begin(transfer);
    state_->perform(&transfer);
}

void TransferDriver::startLater(Transfer& transfer) {
    if (state_->slots.acquire(transfer, transfer.url().origin()))
        state_->begin(transfer);
}

void TransferDriver::release(Transfer& transfer) noexcept {
    CurlEasyHandle easy = std::move(transfer.easy_);
    curl_multi_remove_handle(state_->multi.get(), easy.get());
    easy.reset();
    state_->sockets.markUnused(std::exchange(transfer.connection_, -1), transfer);
    releaseSlot(transfer);
}

/// The timer lets libcurl go on with the transfer that has the slot now.
void TransferDriver::releaseSlot(Transfer& transfer) noexcept {
    if (Transfer* next = state_->slots.release(transfer)) {
        state_->begin(*next);
        state_->armTimer();
    } else {
        state_->limitConnections();
    }
}

void TransferDriver::addChanged(Transfer& transfer) noexcept {
    state_->addChanged(transfer);
}

void TransferDriver::reportChanges() noexcept {
    state_->reportChanges();
}

void TransferDriver::perform() {
    state_->perform(nullptr);
}

void TransferDriver::performLater() noexcept {
    state_->due = machineTime();
    state_->armTimer();
}

TransportSockets& TransferDriver::sockets() {
    return state_->sockets;
}

} // namespace Platform
