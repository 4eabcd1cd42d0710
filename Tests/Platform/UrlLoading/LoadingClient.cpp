// Loads from a server with as many bytes of memory left as it is told, and prints the code that each load ends with.
//   UrlLoadingTestClient HOST BYTES

#include "Platform/Loop/RunLoop.h"
#include "Platform/UrlLoading/UrlConnection.h"
#include "Platform/UrlLoading/UrlSession.h"

#include <curl/curl.h>

#include <malloc.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <new>
#include <optional>
#include <string>

namespace {

std::size_t bytesInUse = 0;
std::size_t limit = SIZE_MAX;

void* take(std::size_t size) {
    if (size > limit - std::min(bytesInUse, limit))
        return nullptr;
    void* memory = std::malloc(size);
    bytesInUse += ::malloc_usable_size(memory);
    return memory;
}

void giveBack(void* memory) {
    bytesInUse -= ::malloc_usable_size(memory);
    std::free(memory);
}

void* resize(void* memory, std::size_t size) {
    void* moved = take(size);
    if (moved == nullptr || memory == nullptr)
        return moved;
    std::memcpy(moved, memory, std::min(size, ::malloc_usable_size(memory)));
    giveBack(memory);
    return moved;
}

char* copy(const char* text) {
    auto* made = static_cast<char*>(take(std::strlen(text) + 1));
    return made != nullptr ? std::strcpy(made, text) : nullptr;
}

void* takeCleared(std::size_t count, std::size_t size) {
    void* memory = take(count * size);
    return memory != nullptr ? std::memset(memory, 0, count * size) : nullptr;
}

} // namespace

// Everything that C++ code allocates; `main` sets the transport to these functions as well.
void* operator new(std::size_t size) {
    if (void* memory = take(size))
        return memory;
    throw std::bad_alloc();
}
void operator delete(void* memory) noexcept {
    giveBack(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    giveBack(memory);
}

namespace {

using namespace Platform;

UrlRequest request(const std::string& host, const char* target) {
    UrlRequest made;
    made.url = Url::fromString("http://" + host + target);
    made.httpMethod = "POST";
    made.httpBody = "{}";
    made.timeoutInterval = std::chrono::seconds(2);
    return made;
}

/// Loads over one interface or the other; the code is nil where nothing was heard of it.
std::optional<int> load(RunLoop& loop, const std::string& host, const char* target, bool overSession) {
    std::optional<int> code;
    const auto end = [&code](const std::optional<Error>& error) { code = error ? error->code : 0; };
    try {
        if (overSession)
            UrlSession::sessionWithConfiguration({})
                ->dataTaskWithRequest(request(host, target),
                                      [end](const auto&, const auto&, const auto& error) { end(error); })
                ->resume();
        else
            UrlConnection::sendAsynchronousRequest(request(host, target), Queue::main(),
                                                   [end](const auto&, const auto&, const auto& error) { end(error); });
        loop.runUntil([&] { return code.has_value(); }, std::chrono::seconds(10));
    } catch (const std::exception&) {
        code = -1005; // The error was reported at once.
    }
    return code;
}

} // namespace

int main(int, char** arguments) {
    // The first of these calls counts, and the transport's own is a later one (curl_global_init_mem(3)).
    curl_global_init_mem(CURL_GLOBAL_DEFAULT, take, giveBack, resize, copy, takeCleared);
    const std::string host = arguments[1];
    RunLoop loop;
    limit = bytesInUse + std::strtoul(arguments[2], nullptr, 10);
    for (int round = 0; round < 3; ++round) {
        for (const char* target : {"/", "/long", "/longer"}) {
            const auto code = load(loop, host, target, round != 1);
            if (!code)
                return 3; // Nothing was heard of it.
            std::printf("%s %d\n", target, *code);
            std::fflush(stdout);
        }
    }
    limit = SIZE_MAX;
    return 0;
}
