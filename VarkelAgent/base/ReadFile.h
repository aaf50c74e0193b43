#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <system_error>

namespace varkel {

/// Which files are read. Reading a pipe, a terminal or a device may wait for a writer for ever.
enum class FileKind { regular, any };

/// Reads a whole file of no more than `limit` bytes into `bytes`. Returns what went wrong: file_too_large for
/// a larger file, invalid_argument for one that is not of the kind, else what the system says. Any thread.
std::error_code readFile(const std::string& path, std::size_t limit, FileKind kind, std::string& bytes);

/// The content of a regular file of no more than `limit` bytes; nothing when readFile() has an error. Any
/// thread.
std::optional<std::string> readRegularFile(const std::string& path, std::size_t limit);

}  // namespace varkel
