#include "Platform/UrlLoading/DownloadedFile.h"

#include "Platform/Files/Files.h"
#include "Platform/Settings/Environment.h"
#include "Platform/UrlLoading/UrlRequest.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>

namespace Platform {

namespace {

Error writingFailed(const std::string& path) {
    return UrlError::make(UrlError::Unknown, path + ": " + std::generic_category().message(errno));
}

} // namespace

DownloadedFile::~DownloadedFile() {
    if (!path_.empty())
        ::unlink(path_.c_str());
}

std::optional<Error> DownloadedFile::append(std::string_view bytes) {
    if (path_.empty()) {
        if (auto error = make())
            return error;
    }
    while (!bytes.empty()) {
        const auto written = ::write(file_.get(), bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written < 0)
            return writingFailed(path_);
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return std::nullopt;
}

std::optional<Error> DownloadedFile::make() {
    const std::string folder = Environment::temporaryDirectory();
    if (const auto error = Files::createDirectory(folder))
        return UrlError::make(UrlError::Unknown, error->localizedDescription);
    std::string path = folder + "download-XXXXXX";
    file_.reset(::mkostemp(path.data(), O_CLOEXEC));
    if (!file_)
        return writingFailed(path);
    path_ = std::move(path);
    return std::nullopt;
}

} // namespace Platform
