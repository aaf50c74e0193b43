#include "platform/linux/applescript/TokenReader.h"

#include <algorithm>

#include "platform/linux/applescript/ScriptError.h"

namespace varkel::applescript {

namespace {

using Kind = Token::Kind;

constexpr int deepest = 100;

}  // namespace

TokenReader::Level::Level(TokenReader& reader) : reader_(reader) {
    if (++reader_.depth_ <= deepest) return;
    --reader_.depth_;
    throw SyntaxError(reader_.peek().line, "the script nests too deeply");
}

const Token& TokenReader::peek(std::size_t ahead) const {
    return tokens_[std::min(at_ + ahead, tokens_.size() - 1)];
}

bool TokenReader::is(const Token& token, std::string_view what) {
    return (token.kind == Kind::word || token.kind == Kind::symbol) && token.value == what;
}

bool TokenReader::takeAll(std::span<const std::string_view> words) {
    std::size_t ahead = 0;
    for (const std::string_view word : words) {
        if (!word.empty() && !is(peek(ahead++), word)) return false;
    }
    at_ += ahead;
    return true;
}

void TokenReader::expect(std::string_view word) {
    if (!take(word)) fail(word);
}

void TokenReader::expectLineEnd() {
    if (peek().kind != Kind::lineEnd) fail();
    ++at_;
}

std::string TokenReader::describe(const Token& token) {
    if (token.kind == Kind::text) return "text \"" + token.value.substr(0, 40) + "\"";
    if (token.kind == Kind::lineEnd) return "end of the line";
    if (token.kind == Kind::end) return "end of the script";
    return "\"" + token.source + "\"";
}

void TokenReader::failAt(const Token& token) {
    const char* what = token.kind == Kind::word ? "unknown word " : "unexpected ";
    throw SyntaxError(token.line, what + describe(token));
}

void TokenReader::fail(std::string_view wanted) const {
    throw SyntaxError(peek().line, "expected \"" + std::string(wanted) + "\" but found " + describe(peek()));
}

}  // namespace varkel::applescript
