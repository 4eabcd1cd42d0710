#pragma once

#include "WebService/Common/Descriptor.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace webservice {

/// A file that is being received, under a name of its own; removed again unless it was moved elsewhere. Throws
/// std::system_error.
class IncomingFile {
public:
    explicit IncomingFile(std::string path);
    IncomingFile(const IncomingFile&) = delete;
    IncomingFile& operator=(const IncomingFile&) = delete;
    ~IncomingFile();

    void append(std::string_view piece);
    void close() { file_.close(); }

    const std::string& path() const { return path_; }
    std::uint64_t size() const { return size_; }

private:
    std::string path_;
    Descriptor file_;
    std::uint64_t size_ = 0;
};

} // namespace webservice
