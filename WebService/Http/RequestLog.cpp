#include "WebService/Http/RequestLog.h"

#include "WebService/Common/Log.h"

#include <array>
#include <cstdio>

namespace webservice {

void RequestLog::end() {
    if (recorder)
        recorder->ended(*this);
}

RequestLog::~RequestLog() {
    std::array<char, 64> numbers{};
    std::snprintf(numbers.data(), numbers.size(), " %d %llu %.1fms", status, static_cast<unsigned long long>(sent()),
                  time().count());
    logLine(client_.peer() + ' ' + method + ' ' + path + numbers.data() + (isComplete ? "" : " incomplete"));
}

} // namespace webservice
