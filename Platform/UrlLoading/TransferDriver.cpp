#include "Platform/UrlLoading/TransferDriver.h"

#include "Platform/FileDescriptor.h"
#include "Platform/UrlLoading/Transfer.h"

#include <curl/curl.h>

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
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace Platform {

namespace {

/// How many connections stay open unused.
constexpr std::size_t idleConnections = 8;
/// How many transfers have a connection at once; those beyond wait their turn. Thousands at once would run out of
/// descriptors, and a server's queue of new connections overflows long before (listen(2)).
constexpr std::size_t maximumConnections = 32;
/// How often the transport may ask to be called again at once before others have their turn.
constexpr int roundsInARow = 8;

void checked(CURLMcode result, const char* what) {
    if (result != CURLM_OK)
        throw std::runtime_error(std::string(what) + ": " + curl_multi_strerror(result));
}

Duration machineTime() {
    return SystemClock().now();
}

CURLM* newMulti() {
    // What the library needs for the whole process; it is never given back.
    static const CURLcode global = curl_global_init(CURL_GLOBAL_DEFAULT);
    CURLM* multi = global == CURLE_OK ? curl_multi_init() : nullptr;
    if (multi == nullptr)
        throw std::runtime_error("curl_multi_init");
    return multi;
}

} // namespace

struct TransferDriver::State {
    explicit State(RunLoop& runLoop)
        : loop(runLoop), timer(::timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK)) {
        if (!timer)
            throw std::system_error(errno, std::generic_category(), "timerfd_create");
        timerWatch = loop.watch(timer.get(), EPOLLIN, [this](std::uint32_t) { timerFired(); });
        checked(curl_multi_setopt(multi, CURLMOPT_SOCKETFUNCTION, socketChanged), "CURLMOPT_SOCKETFUNCTION");
        checked(curl_multi_setopt(multi, CURLMOPT_SOCKETDATA, this), "CURLMOPT_SOCKETDATA");
        checked(curl_multi_setopt(multi, CURLMOPT_TIMERFUNCTION, timerChanged), "CURLMOPT_TIMERFUNCTION");
        checked(curl_multi_setopt(multi, CURLMOPT_TIMERDATA, this), "CURLMOPT_TIMERDATA");
        limitConnections();
        checked(curl_multi_setopt(multi, CURLMOPT_PIPELINING, CURLPIPE_NOTHING), "CURLMOPT_PIPELINING");
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() { curl_multi_cleanup(multi); }

    static int socketChanged(CURL* easy, curl_socket_t socket, int what, void* self, void*) noexcept;
    static int socketClosing(void* self, curl_socket_t socket) noexcept;
    static int timerChanged(CURLM*, long milliseconds, void* self) noexcept;
    void limitConnections();
    void begin(CURL* easy);
    void beginNext();
    void end(CURL* easy);
    void watchSocket(curl_socket_t socket, std::uint32_t events, Transfer* transfer);
    void socketReady(curl_socket_t socket, std::uint32_t events);
    void timerFired();
    void perform();
    void collectFinished();
    void armTimer();

    struct Watched {
        std::unique_ptr<DescriptorWatch> watch;
        /// Whose socket it is at present; nobody's, while the connection is kept.
        Transfer* transfer = nullptr;
    };

    RunLoop& loop;
    CURLM* multi = newMulti();
    std::unordered_map<curl_socket_t, Watched> watched;
    FileDescriptor timer;
    std::unique_ptr<DescriptorWatch> timerWatch;
    /// When the transport wants to be called, and when the timer fires. The timer may be early: putting it off at each
    /// change would cost a system call each.
    std::optional<Duration> due;
    std::optional<Duration> armed;
    std::unordered_set<Transfer*> transfers;
    /// Handles that the transport has, and those that wait for one of these to end, in order.
    std::unordered_set<CURL*> running;
    std::list<CURL*> waiting;
    std::unordered_map<CURL*, std::list<CURL*>::iterator> placesOfWaiting;
    std::vector<Transfer*> touched;
};

namespace {

Transfer* transferOf(CURL* easy) {
    void* transfer = nullptr;
    curl_easy_getinfo(easy, CURLINFO_PRIVATE, &transfer);
    return static_cast<Transfer*>(transfer);
}

} // namespace

int TransferDriver::State::socketChanged(CURL* easy, curl_socket_t socket, int what, void* self, void*) noexcept {
    auto& state = *static_cast<State*>(self);
    if (what == CURL_POLL_REMOVE) {
        // The next request on this connection most often comes soon, and finds the watch in place.
        if (const auto place = state.watched.find(socket); place != state.watched.end())
            place->second.transfer = nullptr;
        return 0;
    }
    state.watchSocket(socket,
                      ((what & CURL_POLL_IN) != 0 ? EPOLLIN : 0U) | ((what & CURL_POLL_OUT) != 0 ? EPOLLOUT : 0U),
                      transferOf(easy));
    return 0;
}

int TransferDriver::State::socketClosing(void* self, curl_socket_t socket) noexcept {
    static_cast<State*>(self)->watched.erase(socket);
    return ::close(socket);
}

int TransferDriver::State::timerChanged(CURLM*, long milliseconds, void* self) noexcept {
    auto& due = static_cast<State*>(self)->due;
    if (milliseconds < 0)
        due.reset();
    else
        due = machineTime() + std::chrono::milliseconds(milliseconds);
    return 0;
}

/// The transport's limit is for connections in use as well, and it keeps to it when one falls free.
void TransferDriver::State::limitConnections() {
    const auto limit = static_cast<long>(std::max(idleConnections, running.size()));
    checked(curl_multi_setopt(multi, CURLMOPT_MAXCONNECTS, limit), "CURLMOPT_MAXCONNECTS");
}

void TransferDriver::State::begin(CURL* easy) {
    curl_easy_setopt(easy, CURLOPT_CLOSESOCKETFUNCTION, socketClosing);
    curl_easy_setopt(easy, CURLOPT_CLOSESOCKETDATA, this);
    checked(curl_multi_add_handle(multi, easy), "curl_multi_add_handle");
    running.insert(easy);
    limitConnections();
}

/// Gives the place of a transfer that has ended to the one that has waited longest; the timer moves it on.
void TransferDriver::State::beginNext() {
    if (waiting.empty())
        return;
    CURL* easy = waiting.front();
    waiting.pop_front();
    placesOfWaiting.erase(easy);
    begin(easy);
    armTimer();
}

void TransferDriver::State::end(CURL* easy) {
    if (const auto place = placesOfWaiting.find(easy); place != placesOfWaiting.end()) {
        waiting.erase(place->second);
        placesOfWaiting.erase(place);
    } else if (running.erase(easy) != 0) {
        curl_multi_remove_handle(multi, easy);
        limitConnections();
        beginNext();
    }
}

void TransferDriver::State::watchSocket(curl_socket_t socket, std::uint32_t events, Transfer* transfer) {
    if (transfer != nullptr)
        transfer->connection_ = socket;
    auto& entry = watched[socket];
    entry.transfer = transfer;
    if (entry.watch)
        entry.watch->setEvents(events);
    else
        entry.watch = loop.watch(socket, events, [this, socket](std::uint32_t ready) { socketReady(socket, ready); });
}

void TransferDriver::State::socketReady(curl_socket_t socket, std::uint32_t events) {
    Transfer* transfer = watched[socket].transfer;
    if (transfer == nullptr) {
        // The server has closed a connection that nobody uses; the transport notices when it would use it.
        watched.erase(socket);
        return;
    }
    // The transport waits for what moves it on: a connection that is made, room for bytes to go, bytes that have come.
    transfer->progressed();
    const int ready = ((events & EPOLLIN) != 0 ? CURL_CSELECT_IN : 0) |
                      ((events & EPOLLOUT) != 0 ? CURL_CSELECT_OUT : 0) |
                      ((events & (EPOLLERR | EPOLLHUP)) != 0 ? CURL_CSELECT_ERR : 0);
    int stillRunning = 0;
    checked(curl_multi_socket_action(multi, socket, ready, &stillRunning), "curl_multi_socket_action");
    perform();
}

void TransferDriver::State::timerFired() {
    std::uint64_t times = 0;
    [[maybe_unused]] const auto got = ::read(timer.get(), &times, sizeof times);
    armed.reset();
    perform();
}

void TransferDriver::State::perform() {
    for (int round = 0; round < roundsInARow && due && *due <= machineTime(); ++round) {
        due.reset();
        int stillRunning = 0;
        checked(curl_multi_socket_action(multi, CURL_SOCKET_TIMEOUT, 0, &stillRunning), "curl_multi_socket_action");
    }
    collectFinished();
    armTimer();
    while (!touched.empty()) {
        Transfer* transfer = touched.back();
        touched.pop_back();
        transfer->settle();
    }
}

void TransferDriver::State::collectFinished() {
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi, &left)) {
        Transfer* transfer = message->msg == CURLMSG_DONE ? transferOf(message->easy_handle) : nullptr;
        if (transfer != nullptr)
            transfer->finish(static_cast<int>(message->data.result));
    }
}

void TransferDriver::State::armTimer() {
    if (!due || (armed && *armed <= *due))
        return;
    armed = due;
    const auto seconds = std::chrono::floor<std::chrono::seconds>(*due);
    itimerspec time{};
    time.it_value.tv_sec = seconds.count();
    time.it_value.tv_nsec = (*due - seconds).count();
    if (::timerfd_settime(timer.get(), TFD_TIMER_ABSTIME, &time, nullptr) != 0)
        throw std::system_error(errno, std::generic_category(), "timerfd_settime");
}

TransferDriver::TransferDriver(RunLoop& loop) : state_(std::make_unique<State>(loop)) {}

TransferDriver::~TransferDriver() {
    for (Transfer* transfer : state_->transfers)
        transfer->driverEnds();
}

void TransferDriver::add(Transfer& transfer) {
    state_->transfers.insert(&transfer);
}

void TransferDriver::remove(Transfer& transfer) {
    state_->transfers.erase(&transfer);
    std::erase(state_->touched, &transfer);
}

void TransferDriver::start(void* easy) {
    if (state_->running.size() >= maximumConnections) {
        state_->placesOfWaiting[easy] = state_->waiting.insert(state_->waiting.end(), easy);
        return;
    }
    state_->begin(easy);
    state_->perform();
}

void TransferDriver::release(void* easy) {
    state_->end(easy);
    curl_easy_cleanup(easy);
}

void TransferDriver::touch(Transfer& transfer) {
    if (std::find(state_->touched.begin(), state_->touched.end(), &transfer) == state_->touched.end())
        state_->touched.push_back(&transfer);
}

void TransferDriver::perform() {
    state_->perform();
}

} // namespace Platform
