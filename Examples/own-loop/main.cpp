// A program with an event loop of its own, here plain epoll(7), drives the library through one descriptor.
//   own-loop COMPUTER

#include <Platform/Log.h>
#include <Platform/Loop/RunLoop.h>
#include <Services/RestInterface.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <cstdint>
#include <iostream>
#include <optional>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: own-loop COMPUTER\n";
        return 64;
    }
    Platform::Log::setSink([](std::string_view) {});
    Platform::RunLoop library;

    const int epoll = ::epoll_create1(EPOLL_CLOEXEC);
    epoll_event event{};
    event.events = EPOLLIN;
    if (epoll < 0 || ::epoll_ctl(epoll, EPOLL_CTL_ADD, library.descriptor(), &event) != 0) {
        std::cerr << "epoll cannot be used\n";
        return 71;
    }

    std::optional<std::int64_t> outcome;
    Quenmark::GetTopFileUploadQuery query;
    query.toComputerId = argv[1];
    Quenmark::RestInterface::asyncGetTopFileUpload(query,
                                                   [&outcome](const auto&, std::int64_t status) { outcome = status; });

    library.processPending();
    while (!outcome) {
        if (::epoll_wait(epoll, &event, 1, -1) > 0)
            library.processPending();
    }
    ::close(epoll);
    std::cout << "status " << *outcome << '\n';
    return *outcome == Quenmark::RestStatusSuccess ? 0 : 1;
}
