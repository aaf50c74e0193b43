#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace varkel::applescript {

struct Token {
    enum class Kind { word, text, number, symbol, lineEnd, end };
    Kind kind = Kind::end;
    int line = 1;
    /// A word in lower case, a text without its quotes and escapes, a number's digits, a symbol in its ASCII
    /// form ("<=" for "≤").
    std::string value;
    /// As it stands in the source, for error messages; empty for texts and line ends.
    std::string source;
};

/// The tokens of a script, the last of them of kind end. Comments are left out, and so are line ends after
/// "¬". Throws SyntaxError. Pure.
std::vector<Token> tokensOf(std::string_view source);

}  // namespace varkel::applescript
