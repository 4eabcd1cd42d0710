#pragma once

#include "WebService/Common/Descriptor.h"

#include <sys/types.h>

#include <cstdint>
#include <string>

namespace webservice {

/// Standard error as it was when this was made. Never waits: a line that standard error takes nothing of is lost, and
/// the next line that it takes has the number of the lost ones before it. A pipe or terminal may be full, and other
/// processes may have it open too, to which O_NONBLOCK on the shared open file description would apply as well
/// (open(2)): it is opened again, for a description of its own.
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
