#include "Tools/Bundle/Archive.h"

#include <archive.h>
#include <archive_entry.h>
#include <sys/types.h>

#include <memory>
#include <stdexcept>

namespace Tools {

namespace {

using Writer = std::unique_ptr<archive, decltype(&archive_write_free)>;
using Entry = std::unique_ptr<archive_entry, decltype(&archive_entry_free)>;

la_ssize_t append(archive*, void* bytes, const void* piece, std::size_t size) {
    static_cast<std::string*>(bytes)->append(static_cast<const char*>(piece), size);
    return static_cast<la_ssize_t>(size);
}

/// Throws where a call of the library has failed.
void check(const Writer& writer, la_ssize_t result) {
    if (result < ARCHIVE_OK)
        throw std::runtime_error(std::string("an archive cannot be written: ") + archive_error_string(writer.get()));
}

void write(const Writer& writer, const ArchivedFile& file, std::int64_t time) {
    const Entry entry(archive_entry_new(), &archive_entry_free);
    archive_entry_set_pathname(entry.get(), file.path.c_str());
    archive_entry_set_filetype(entry.get(), AE_IFREG);
    archive_entry_set_perm(entry.get(), 0600);
    archive_entry_set_size(entry.get(), static_cast<la_int64_t>(file.content.size()));
    archive_entry_set_mtime(entry.get(), time, 0);
    check(writer, archive_write_header(writer.get(), entry.get()));
    check(writer, archive_write_data(writer.get(), file.content.data(), file.content.size()));
}

} // namespace

std::string tarGzip(const std::vector<ArchivedFile>& files, std::int64_t time) {
    std::string bytes;
    const Writer writer(archive_write_new(), &archive_write_free);
    check(writer, archive_write_set_format_ustar(writer.get()));
    check(writer, archive_write_add_filter_gzip(writer.get()));
    // The time of writing would make two files of one content differ.
    check(writer, archive_write_set_filter_option(writer.get(), "gzip", "timestamp", nullptr));
    check(writer, archive_write_open(writer.get(), &bytes, nullptr, &append, nullptr));
    for (const auto& file : files)
        write(writer, file, time);
    check(writer, archive_write_close(writer.get()));
    return bytes;
}

} // namespace Tools
