#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/applescript/Lexer.h"

namespace varkel::applescript {

/// A script's tokens, and how far they have been taken. What does not fit throws SyntaxError. Not for use
/// from several threads at once.
class TokenReader {
  public:
    explicit TokenReader(std::string_view source) : tokens_(tokensOf(source)) {}

    /// Counts how deep the source nests, so that the stack cannot run out: beyond 100 levels it throws.
    class Level {
      public:
        explicit Level(TokenReader& reader);
        Level(const Level&) = delete;
        Level& operator=(const Level&) = delete;
        ~Level() { --reader_.depth_; }

      private:
        TokenReader& reader_;
    };

    /// A token that has not been taken; the last one stands for all beyond it.
    const Token& peek(std::size_t ahead = 0) const;

    /// Whether a token is this word or symbol.
    static bool is(const Token& token, std::string_view what);
    bool isNext(std::string_view word) const { return is(peek(), word); }

    /// Takes the next token, which must not be the end.
    const Token& takeAny() { return tokens_[at_++]; }

    /// Takes the words when all of them come next. Empty ones count for nothing.
    bool takeAll(std::span<const std::string_view> words);

    template <class... Words>
    bool take(Words... words) {
        return takeAll(std::array<std::string_view, sizeof...(words)>{words...});
    }

    void expect(std::string_view word);
    void expectLineEnd();

    /// Where the next token is, and back there.
    std::size_t place() const { return at_; }
    void goBackTo(std::size_t place) { at_ = place; }

    /// How a message names a token.
    static std::string describe(const Token& token);

    [[noreturn]] static void failAt(const Token& token);
    [[noreturn]] void fail() const { failAt(peek()); }
    [[noreturn]] void fail(std::string_view wanted) const;

  private:
    std::vector<Token> tokens_;
    std::size_t at_ = 0;
    int depth_ = 0;
};

}  // namespace varkel::applescript
