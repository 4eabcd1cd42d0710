#include "Platform/JournalReader.h"

#include "Platform/Files/Posix.h"

#include <systemd/sd-journal.h>

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>

namespace Platform::Journal {

namespace {

using OwnedJournal = std::unique_ptr<sd_journal, void (*)(sd_journal*)>;

constexpr const char* journalName = "the journal";

/// The value of a field of the current entry; "" where it has none.
std::string valueOf(sd_journal* journal, const std::string& field) {
    const void* data = nullptr;
    std::size_t size = 0;
    if (sd_journal_get_data(journal, field.c_str(), &data, &size) < 0)
        return "";
    return std::string(static_cast<const char*>(data), size).substr(std::min(field.size() + 1, size));
}

Entry entryAtHand(sd_journal* journal) {
    std::uint64_t time = 0;
    // Without a time the entry is shown with the first there is.
    static_cast<void>(sd_journal_get_realtime_usec(journal, &time));
    return {static_cast<std::int64_t>(time), valueOf(journal, "PRIORITY"), valueOf(journal, "MESSAGE")};
}

bool hasFiles(sd_journal* journal, const std::string& folder) {
    return !folder.empty() || sd_journal_has_runtime_files(journal) > 0 || sd_journal_has_persistent_files(journal) > 0;
}

int openJournal(const std::string& folder, OwnedJournal& journal) {
    sd_journal* opened = nullptr;
    const int result = folder.empty() ? sd_journal_open(&opened, SD_JOURNAL_LOCAL_ONLY)
                                      : sd_journal_open_directory(&opened, Posix::named(folder), 0);
    journal.reset(opened);
    return result;
}

} // namespace

std::variant<std::vector<Entry>, Error> lastEntries(const std::string& program, std::size_t count,
                                                    const std::string& folder) {
    OwnedJournal journal(nullptr, sd_journal_close);
    if (const int result = openJournal(folder, journal); result < 0)
        return Posix::error(journalName, -result);
    if (!hasFiles(journal.get(), folder))
        return Posix::error(journalName, ENOENT);
    for (const auto& match :
         {"SYSLOG_IDENTIFIER=" + program, "_UID=" + std::to_string(static_cast<unsigned long>(::geteuid()))}) {
        if (const int result = sd_journal_add_match(journal.get(), match.data(), match.size()); result < 0)
            return Posix::error(journalName, -result);
    }
    std::vector<Entry> entries;
    int result = sd_journal_seek_tail(journal.get());
    while (result >= 0 && entries.size() < count) {
        result = sd_journal_previous(journal.get());
        if (result <= 0)
            break;
        entries.push_back(entryAtHand(journal.get()));
    }
    if (result < 0)
        return Posix::error(journalName, -result);
    std::ranges::reverse(entries);
    return entries;
}

} // namespace Platform::Journal
