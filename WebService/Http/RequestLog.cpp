#include "WebService/Http/RequestLog.h"

#include "WebService/Common/Log.h"

#include <array>
#include <cstdio>

namespace webservice {

RequestLog::~RequestLog() {
    const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - started_;
    std::array<char, 64> numbers{};
    std::snprintf(numbers.data(), numbers.size(), " %d %llu %.1fms", status,
                  static_cast<unsigned long long>(client_.sent() - sentBefore_), time.count());
    logLine(client_.peer() + ' ' + method + ' ' + path + numbers.data() + (isComplete ? "" : " incomplete"));
}

} // namespace webservice
