#include "WebService/Common/Log.h"
#include "WebService/Faults/FaultPlanParser.h"
#include "WebService/Http/Listener.h"
#include "WebService/Http/Server.h"
#include "WebService/State.h"
#include "WebService/Version.h"
#include "WebService/WebApplication.h"

#include <CLI/CLI.hpp>
#include <boost/asio/awaitable.hpp>
#include <boost/asio/co_spawn.hpp>
#include <boost/asio/detached.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>
#include <boost/asio/this_coro.hpp>
#include <boost/asio/use_awaitable.hpp>

#include <fcntl.h>
#include <sysexits.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <iostream>
#include <optional>

namespace {

using namespace webservice;
using namespace std::chrono_literals;
namespace asio = boost::asio;

int fail(int status, const std::string& message) {
    std::cerr << "quenmark-webservice: " << message << '\n';
    return status;
}

/// SIGIO comes from a writer that opens a file while it is tested by a lease, SIGPIPE from a client that has
/// disconnected or a closed log; both are ignored. With SIGXFSZ ignored, a write beyond the limit of a file's size
/// fails with an error (setrlimit(2)).
void ignoreSignals() {
    std::signal(SIGXFSZ, SIG_IGN);
    std::signal(SIGIO, SIG_IGN);
    std::signal(SIGPIPE, SIG_IGN);
}

asio::awaitable<void> pause(std::chrono::milliseconds time) {
    asio::steady_timer timer(co_await asio::this_coro::executor, time);
    co_await timer.async_wait(asio::use_awaitable);
}

/// Processes what has happened in the outbox. Between two slices the loop runs; where they do nothing, since the
/// database is locked, or fail, the loop is not kept busy by trying again.
asio::awaitable<void> processOutbox(State& state) {
    bool isDone = false;
    while (!isDone) {
        auto time = 1ms;
        try {
            isDone = state.watcher.processSlice(5ms);
        } catch (const std::exception& error) {
            logLine(std::string("an event could not be handled: ") + error.what());
            isDone = true;
            time = 1000ms;
        }
        co_await pause(time);
    }
}

/// Processes events of the outbox as they happen.
asio::awaitable<void> watchEvents(State& state) {
    asio::posix::stream_descriptor events(co_await asio::this_coro::executor, ::dup(state.watcher.descriptor()));
    while (true) {
        co_await events.async_wait(asio::posix::stream_descriptor::wait_read, asio::use_awaitable);
        co_await processOutbox(state);
    }
}

asio::awaitable<void> recheckEverySecond(State& state) {
    while (true) {
        co_await pause(1000ms);
        state.watcher.requestRecheck(OutboxWatcher::Clock::now());
        co_await processOutbox(state);
    }
}

/// What is read before anything is made.
struct Inputs {
    ListenAddress address;
    FaultPlan plan;
    std::shared_ptr<const TlsIdentity> identity; // null for plain HTTP
};

int serve(State& state, const std::string& listen, Inputs inputs) {
    WebApplication application(state, inputs.address.host, std::move(inputs.plan), version());
    asio::io_context context(1);
    asio::signal_set signals(context, SIGTERM, SIGINT);
    signals.async_wait([&](const boost::system::error_code&, int) { context.stop(); });
    try {
        auto acceptor = listenOn(context, inputs.address);
        const std::string bound = addressText(acceptor.local_endpoint());
        serveConnections(std::move(acceptor), application, {.maxConnections = raiseDescriptorLimit()},
                         std::move(inputs.identity));
        std::cout << "listening on " << bound << std::endl;
    } catch (const boost::system::system_error& error) {
        return fail(EX_UNAVAILABLE, "cannot listen on " + listen + ": " + error.code().message());
    }
    asio::co_spawn(context, watchEvents(state), asio::detached);
    asio::co_spawn(context, recheckEverySecond(state), asio::detached);
    context.run();
    logLine("ended by a signal");
    return EX_OK;
}

/// The options of the command line.
struct Options {
    std::string listen = "127.0.0.1:8080";
    std::string data;
    std::string faults;
    std::string certificate;
    std::string key;
};

/// Reads a file of limited length, or a little more than that of a longer one. Throws std::system_error.
std::string contentOf(const std::string& path, std::size_t limit) {
    const Descriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file)
        throwErrno(path);
    std::string content;
    std::array<char, 65536> piece{};
    ssize_t count = 1;
    while (count > 0 && content.size() <= limit) {
        count = ::read(file.get(), piece.data(), piece.size());
        if (count < 0)
            throwErrno(path);
        content.append(piece.data(), static_cast<std::size_t>(count));
    }
    return content;
}

/// Throws std::invalid_argument where an option is wrong, RequestError and TlsError where a file is, and
/// std::system_error where that cannot be read.
Inputs readInputs(const Options& options) {
    Inputs inputs;
    try {
        inputs.address = parseListenAddress(options.listen);
    } catch (const std::invalid_argument& error) {
        throw std::invalid_argument("--listen " + options.listen + ": " + error.what());
    }
    if (options.data.empty())
        throw std::invalid_argument("--data is empty");
    if (options.certificate.empty() != options.key.empty())
        throw std::invalid_argument("--tls-certificate and --tls-key go together");
    if (!options.faults.empty()) {
        try {
            inputs.plan = parseFaultPlan(contentOf(options.faults, maxFaultPlanSize));
        } catch (const RequestError& error) {
            throw RequestError(error.code(), options.faults + ": " + error.what(), error.status());
        }
    }
    if (!options.certificate.empty())
        inputs.identity = std::make_shared<TlsIdentity>(options.certificate, options.key);
    return inputs;
}

int run(const Options& options) {
    Inputs inputs;
    try {
        inputs = readInputs(options);
    } catch (const std::invalid_argument& error) {
        return fail(EX_USAGE, error.what());
    } catch (const RequestError& error) {
        return fail(EX_DATAERR, printable(error.what()));
    } catch (const TlsError& error) {
        return fail(EX_DATAERR, error.what());
    } catch (const std::system_error& error) {
        return fail(EX_NOINPUT, error.what());
    }
    ignoreSignals();
    std::optional<State> state;
    try {
        state.emplace(options.data);
    } catch (const StateInUse& error) {
        return fail(EX_UNAVAILABLE, error.what());
    } catch (const DatabaseError& error) {
        return fail(EX_IOERR, error.what());
    } catch (const std::system_error& error) {
        return fail(EX_CANTCREAT, error.what());
    }
    return serve(*state, options.listen, std::move(inputs));
}

int runCommandLine(int argc, char** argv) {
    CLI::App app("The development web service: holds items for computers and serves the service's operations.");
    app.set_version_flag("--version", std::string("quenmark-webservice ") + webservice::version());
    Options options;
    app.add_option("--listen", options.listen, "Address and port; port 0 takes a free one")
        ->type_name("HOST:PORT")
        ->capture_default_str();
    app.add_option("--data", options.data, "Folder for the state and the files; made if missing")
        ->type_name("DIR")
        ->required();
    app.add_option("--faults", options.faults, "Plan of the faults to begin with")->type_name("FILE");
    app.add_option("--tls-certificate", options.certificate, "Certificate in PEM, for HTTPS")->type_name("FILE");
    app.add_option("--tls-key", options.key, "Its key in PEM, without a passphrase")->type_name("FILE");
    app.footer(
        "Example:\n"
        "  quenmark-webservice --listen 127.0.0.1:8080 --data ~/quenmark-data\n"
        "  cp -r Documents ~/quenmark-data/outbox/7/      # items for computer 7\n\n"
        "Prints \"listening on HOST:PORT\" when it is ready, logs one line a request on standard error, and\n"
        "ends with 0 on SIGTERM or SIGINT. Other exit statuses: 64 usage, 65 the plan, the certificate or the key is\n"
        "not valid, 66 one of these cannot be read, 69 cannot listen or the folder is in use, 70 internal error, 73\n"
        "the folder cannot be made, 74 the state cannot be read or written.");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        if (app.exit(error) != 0)
            return EX_USAGE;
        return std::cout.flush() ? EX_OK : fail(EX_IOERR, "standard output cannot be written to");
    }
    return run(options);
}

} // namespace

int main(int argc, char** argv) {
    webservice::keepStandardStreamsOpen();
    try {
        return runCommandLine(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "quenmark-webservice: %s\n", error.what());
        return EX_SOFTWARE;
    }
}
