#pragma once

#include "WebService/Common/Descriptor.h"

#include <sys/types.h>

#include <cstdint>
#include <string>

namespace webservice {

/// Standard error as it was at construction. Never blocks: a line that cannot be written at once is lost, and the next
/// line that can is preceded by the number of the lost ones. A pipe or terminal may be full, and other processes may
/// have it open too, to which O_NONBLOCK on the shared open file description would apply as well (open(2)): it is
/// opened again, for a description of its own.
class LogStream {
public:
    LogStream();

    /// Writes a line, which ends with a newline.
    void add(const std::string& line);

private:
    bool put(const std::string& text);
    bool writeRest();
    ssize_t writeSome() const;

    bool isSocket_ = false;
    bool mayBeFull_ = false;
    Descriptor own_;
    std::string rest_;
    std::uint64_t missing_ = 0;
};

} // namespace webservice
