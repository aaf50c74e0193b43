#pragma once

#include <string>

#include "main/CommandLine.h"

namespace varkel {

/// The text of a token file without the white space and line breaks at its ends. Throws std::system_error
/// when the file cannot be read, is not UTF-8 or is far too long for a token. Blocks.
std::string readTokenFile(const std::string& path);

/// The server's token: the one given, as it is, else that of the token file; empty when there is none.
std::string resolveToken(const TokenSource& source);

}  // namespace varkel
