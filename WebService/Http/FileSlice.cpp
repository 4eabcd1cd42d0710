#include "WebService/Http/FileSlice.h"

#include <sys/stat.h>

#include <algorithm>

namespace webservice {

namespace {

bool hasChanged(const FileSlice& slice) {
    struct stat status {};
    return ::fstat(slice.file.get(), &status) != 0 || identityOf(status) != slice.identity;
}

} // namespace

std::string_view FileSlice::read(std::vector<char>& buffer) const {
    const std::size_t size = std::min<std::uint64_t>(buffer.size(), length);
    const ssize_t count = ::pread(file.get(), buffer.data(), size, static_cast<off_t>(offset));
    if (count <= 0 || (static_cast<std::uint64_t>(count) == length && hasChanged(*this)))
        return {};
    const auto read = static_cast<std::size_t>(count);
    if (corruptOffset && *corruptOffset >= offset && *corruptOffset - offset < read)
        buffer[*corruptOffset - offset] ^= 1;
    return {buffer.data(), read};
}

void FileSlice::removePrefix(std::uint64_t bytes) {
    offset += bytes;
    length -= bytes;
}

} // namespace webservice
