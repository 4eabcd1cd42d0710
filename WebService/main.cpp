#include "WebService/EventLoop.h"
#include "WebService/Http/Listener.h"
#include "WebService/Http/Server.h"
#include "WebService/Log.h"
#include "WebService/State.h"
#include "WebService/WebApplication.h"

#include <CLI/CLI.hpp>

#include <sys/epoll.h>
#include <sys/signalfd.h>
#include <sysexits.h>

#include <csignal>
#include <cstdio>
#include <iostream>

namespace {

using namespace webservice;

// A descriptor that is readable once the process is asked to end. SIGIO would come from a writer that meets one of
// the leases by which files are tested, SIGPIPE from a client that has gone; neither is of interest.
Descriptor endSignals() {
    std::signal(SIGIO, SIG_IGN);
    std::signal(SIGPIPE, SIG_IGN);
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    Descriptor descriptor(::signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
    if (!descriptor) {
        throwErrno("cannot receive signals");
    }
    return descriptor;
}

int fail(int status, const std::string& message) {
    std::cerr << "quenmark-webservice: " << message << '\n';
    return status;
}

int serve(State& state, Descriptor listener, const Descriptor& signals) {
    const std::string address = localAddress(listener.get());
    EventLoop loop;
    WebApplication application(state);
    Server server(loop, application, std::move(listener));
    loop.watch(signals.get(), EPOLLIN, [&](std::uint32_t) { loop.stop(); });
    loop.watch(state.watcher.descriptor(), EPOLLIN, [&](std::uint32_t) { state.watcher.drain(); });
    loop.everySecond([&] {
        state.watcher.settle(OutboxWatcher::Clock::now());
        server.sweep();
    });
    std::cout << "listening on " << address << std::endl;
    loop.run();
    logLine("asked to end");
    return EX_OK;
}

int run(const std::string& listen, const std::string& data) {
    ListenAddress address;
    try {
        address = parseListenAddress(listen);
    } catch (const std::invalid_argument& error) {
        return fail(EX_USAGE, "--listen " + listen + ": " + error.what());
    }
    const Descriptor signals = endSignals();
    std::optional<State> state;
    try {
        state.emplace(data);
    } catch (const StateInUse& error) {
        return fail(EX_UNAVAILABLE, error.what());
    } catch (const DatabaseError& error) {
        return fail(EX_IOERR, error.what());
    } catch (const std::system_error& error) {
        return fail(EX_CANTCREAT, error.what());
    }
    Descriptor listener;
    try {
        listener = listenOn(address);
    } catch (const std::runtime_error& error) {
        return fail(EX_UNAVAILABLE, "cannot listen on " + listen + ": " + error.what());
    }
    return serve(*state, std::move(listener), signals);
}

} // namespace

int main(int argc, char** argv) {
    CLI::App app("The development web service: holds items for computers and answers the service's operations.");
    std::string listen = "127.0.0.1:8080";
    std::string data;
    app.add_option("--listen", listen, "Address and port; port 0 takes a free one")
        ->type_name("HOST:PORT")
        ->capture_default_str();
    app.add_option("--data", data, "Folder for the state and the files; made if missing")->type_name("DIR")->required();
    app.footer("Example:\n"
               "  quenmark-webservice --listen 127.0.0.1:8080 --data ~/quenmark-data\n"
               "  cp -r Documents ~/quenmark-data/outbox/7/      # items for computer 7\n\n"
               "Prints \"listening on HOST:PORT\" when it is ready, logs one line a request on standard error, and\n"
               "ends with 0 on SIGTERM or SIGINT. Other exit statuses: 64 usage, 69 cannot listen or the folder is in\n"
               "use, 70 internal error, 73 the folder cannot be made, 74 the state cannot be read or written.");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? EX_OK : EX_USAGE;
    }
    try {
        return run(listen, data);
    } catch (const std::exception& error) {
        return fail(EX_SOFTWARE, error.what());
    }
}
