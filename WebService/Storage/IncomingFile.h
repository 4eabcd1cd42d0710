#pragma once

#include "WebService/Common/Descriptor.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace webservice {

/// The folder of files on their way in, which no other process uses. Emptied when this is made. Throws
/// std::system_error.
class IncomingFolder {
public:
    explicit IncomingFolder(std::string path);

    /// The path of a file that does not exist yet. Creates the folder again where it was removed.
    std::string newPath();

private:
    std::string path_;
    std::int64_t last_ = 0;
};

/// A file that is being received, under a name of its own; removed at the end unless it was moved elsewhere. Throws
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
