#pragma once

#include "Platform/Error.h"

#include <optional>
#include <string>
#include <vector>

/// Flushing files and folders to disk. Each operation may wait for the disk: a program with a loop calls them on the
/// threads of a `Flusher`.
namespace Platform::Flush {

/// The error of something that could not be flushed. It has a domain of its own; `number` is one of errno(3).
Error failure(const std::string& path, int number);
/// Whether an operation ended with such an error.
bool hasFailed(const std::optional<Error>& error);

/// Flushes the data of an open file, and what is needed to read it again (fdatasync(2)). `path` is for the error.
std::optional<Error> data(int file, const std::string& path);
/// Flushes an open file or folder with all its attributes (fsync(2)).
std::optional<Error> item(int item, const std::string& path);
/// Flushes the entries of the folder at `path`; "" is the working directory. A folder that may be written to and not
/// read cannot be flushed alone; everything is flushed then (sync(2)).
std::optional<Error> folder(const std::string& path);
/// Flushes the entry of the item at each of these paths in its folder, up to the first failure.
std::optional<Error> entries(const std::vector<std::string>& paths);
/// Flushes the data of the file at a path, where one is there that can be read, and the entry of what is there. Nothing
/// there is no error.
std::optional<Error> present(const std::string& path);
/// Starts writing to disk what a file holds, without waiting for the end of it (sync_file_range(2)).
void startWriteBack(int file);

} // namespace Platform::Flush
