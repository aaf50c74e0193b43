#include "platform/linux/applescript/Lexer.h"

#include <algorithm>
#include <array>
#include <utility>

#include "base/UnicodeText.h"
#include "platform/linux/applescript/ScriptError.h"

namespace varkel::applescript {

namespace {

constexpr std::string_view continuation = "\u00AC";

/// Longer ones first: "<=" is not "<" and "=".
constexpr std::array<std::pair<std::string_view, std::string_view>, 19> symbols{{
    {"<=", "<="},     {">=", ">="},    {"/=", "/="}, {"\u2264", "<="}, {"\u2265", ">="},
    {"\u2260", "/="}, {"\u00F7", "/"}, {"<", "<"},   {">", ">"},       {"=", "="},
    {"&", "&"},       {"+", "+"},      {"-", "-"},   {"*", "*"},       {"/", "/"},
    {"^", "^"},       {"(", "("},      {")", ")"},   {",", ","},
}};

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isWordStart(char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

bool isLineBreak(char c) {
    return c == '\n' || c == '\r';
}

class Lexer {
  public:
    explicit Lexer(std::string_view source) : source_(source) {}

    std::vector<Token> run() {
        if (source_.starts_with("\uFEFF")) at_ = 3;
        while (skipBlanks()) readToken();
        add(Token::Kind::lineEnd, {}, {});
        add(Token::Kind::end, {}, {});
        return std::move(tokens_);
    }

  private:
    std::string_view rest() const { return source_.substr(at_); }
    bool atEnd() const { return at_ >= source_.size(); }
    char here() const { return source_[at_]; }

    void add(Token::Kind kind, std::string value, std::string_view source) {
        tokens_.push_back({kind, line_, std::move(value), std::string(source)});
    }

    /// Whether there is more after the blanks and comments.
    bool skipBlanks() {
        while (!atEnd()) {
            if (here() == ' ' || here() == '\t') {
                ++at_;
            } else if (rest().starts_with("\u00A0")) {
                at_ += 2;
            } else if (rest().starts_with("--") || here() == '#') {
                while (!atEnd() && !isLineBreak(here())) ++at_;
            } else if (rest().starts_with("(*")) {
                skipComment();
            } else if (rest().starts_with(continuation)) {
                skipContinuation();
            } else {
                return true;
            }
        }
        return false;
    }

    void takeLineBreak() {
        if (rest().starts_with("\r\n")) ++at_;
        ++at_;
        ++line_;
    }

    void skipContinuation() {
        at_ += continuation.size();
        while (!atEnd() && (here() == ' ' || here() == '\t')) ++at_;
        if (atEnd() || !isLineBreak(here())) throw SyntaxError(line_, "the line must end after \"\u00AC\"");
        takeLineBreak();
    }

    /// Comments of this kind may hold others.
    void skipComment() {
        const int start = line_;
        std::size_t open = 0;
        do {
            if (atEnd()) throw SyntaxError(start, "the comment \"(*\" does not end");
            if (rest().starts_with("(*")) {
                ++open;
                at_ += 2;
            } else if (rest().starts_with("*)")) {
                --open;
                at_ += 2;
            } else if (isLineBreak(here())) {
                takeLineBreak();
            } else {
                ++at_;
            }
        } while (open > 0);
    }

    void readToken() {
        if (isLineBreak(here())) {
            add(Token::Kind::lineEnd, {}, {});
            takeLineBreak();
        } else if (here() == '"') {
            readText();
        } else if (isDigit(here()) ||
                   (here() == '.' && at_ + 1 < source_.size() && isDigit(source_[at_ + 1]))) {
            readNumber();
        } else if (isWordStart(here())) {
            readWord();
        } else {
            readSymbol();
        }
    }

    void readWord() {
        const std::size_t start = at_;
        while (!atEnd() && (isWordStart(here()) || isDigit(here()))) ++at_;
        const std::string_view word = source_.substr(start, at_ - start);
        std::string lower(word);
        std::ranges::transform(lower, lower.begin(), [](char c) {
            return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
        });
        add(Token::Kind::word, std::move(lower), word);
    }

    void skipDigits() {
        while (!atEnd() && isDigit(here())) ++at_;
    }

    void readNumber() {
        const std::size_t start = at_;
        skipDigits();
        if (!atEnd() && here() == '.') {
            ++at_;
            skipDigits();
        }
        if (!atEnd() && (here() == 'e' || here() == 'E')) {
            ++at_;
            if (!atEnd() && (here() == '+' || here() == '-')) ++at_;
            skipDigits();
        }
        const std::string_view digits = source_.substr(start, at_ - start);
        add(Token::Kind::number, std::string(digits), digits);
    }

    void readText() {
        const int start = line_;
        std::string value;
        ++at_;
        while (!atEnd() && here() != '"') {
            if (here() == '\\') {
                value += readEscape();
            } else {
                if (isLineBreak(here()) && !rest().starts_with("\r\n")) ++line_;
                value += source_[at_++];
            }
        }
        if (atEnd()) throw SyntaxError(start, "the text that begins with \" does not end");
        ++at_;
        tokens_.push_back({Token::Kind::text, start, std::move(value), {}});
    }

    char readEscape() {
        const char escaped = at_ + 1 < source_.size() ? source_[at_ + 1] : '\0';
        at_ += 2;
        switch (escaped) {
            case '"':
            case '\\':
                return escaped;
            case 'n':
                return '\n';
            case 't':
                return '\t';
            case 'r':
                return '\r';
            default:
                throw SyntaxError(line_, "a text has an unknown escape after \"\\\"");
        }
    }

    void readSymbol() {
        for (const auto& [symbol, meaning] : symbols) {
            if (!rest().starts_with(symbol)) continue;
            add(Token::Kind::symbol, std::string(meaning), symbol);
            at_ += symbol.size();
            return;
        }
        constexpr char firstVisible = ' ';
        if (here() >= 0 && here() < firstVisible) throw SyntaxError(line_, "unexpected control character");
        const std::string_view character = rest().substr(0, sequenceLength(source_, at_));
        throw SyntaxError(line_, "unknown character \"" + std::string(character) + "\"");
    }

    std::string_view source_;
    std::size_t at_ = 0;
    int line_ = 1;
    std::vector<Token> tokens_;
};

}  // namespace

std::vector<Token> tokensOf(std::string_view source) {
    if (!isValidUTF8(source)) throw SyntaxError(1, "the script is not valid UTF-8");
    return Lexer(source).run();
}

}  // namespace varkel::applescript
