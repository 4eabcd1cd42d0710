#include "WebService/Storage/IncomingFile.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <filesystem>

namespace webservice {

namespace {

void makeFolder(const std::string& path) {
    if (::mkdir(path.c_str(), 0777) != 0 && errno != EEXIST)
        throwErrno("cannot make the folder " + path);
}

} // namespace

IncomingFolder::IncomingFolder(std::string path) : path_(std::move(path)) {
    std::filesystem::remove_all(path_);
    makeFolder(path_);
}

std::string IncomingFolder::newPath() {
    makeFolder(path_);
    return path_ + '/' + std::to_string(++last_);
}

IncomingFile::IncomingFile(std::string path)
    : path_(std::move(path)), file_(::open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666)) {
    if (!file_)
        throwErrno("cannot open " + path_);
}

IncomingFile::~IncomingFile() {
    ::unlink(path_.c_str());
}

void IncomingFile::append(std::string_view piece) {
    size_ += piece.size();
    while (!piece.empty()) {
        const ssize_t written = ::write(file_.get(), piece.data(), piece.size());
        if (written < 0)
            throwErrno("cannot write " + path_);
        piece.remove_prefix(static_cast<std::size_t>(written));
    }
}

} // namespace webservice
