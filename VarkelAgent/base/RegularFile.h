#pragma once

#include <cstddef>
#include <optional>
#include <string>

namespace varkel {

/// The content of a regular file of no more than `limit` bytes; nothing when there is no such file, it cannot
/// be read or it is larger. Pipes, terminals and devices are refused: reading them would wait for a writer.
/// Blocks on the disk only. Any thread.
std::optional<std::string> readRegularFile(const std::string& path, std::size_t limit);

}  // namespace varkel
