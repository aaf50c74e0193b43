#include "json/JSONText.h"

#include <cstdint>
#include <vector>

#include "base/UnicodeText.h"

namespace varkel {

namespace {

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

bool isHighSurrogate(std::uint32_t unit) {
    return unit >= 0xD800 && unit < 0xDC00;
}

bool isLowSurrogate(std::uint32_t unit) {
    return unit >= 0xDC00 && unit < 0xE000;
}

/// The value of a hexadecimal digit, or 16.
std::uint32_t hexValue(char c) {
    if (isDigit(c)) return static_cast<std::uint32_t>(c - '0');
    if (c >= 'a' && c <= 'f') return static_cast<std::uint32_t>(c - 'a' + 10);
    if (c >= 'A' && c <= 'F') return static_cast<std::uint32_t>(c - 'A' + 10);
    return 16;
}

void appendUTF8(std::string& out, std::uint32_t code) {
    const auto append = [&](std::uint32_t byte) { out += static_cast<char>(byte); };
    const auto appendRest = [&](unsigned shift) { append(0x80 | (code >> shift & 0x3F)); };
    if (code < 0x80) return append(code);
    if (code < 0x800) {
        append(0xC0 | code >> 6);
    } else if (code < 0x10000) {
        append(0xE0 | code >> 12);
        appendRest(6);
    } else {
        append(0xF0 | code >> 18);
        appendRest(12);
        appendRest(6);
    }
    appendRest(0);
}

/// Goes through JSON text by its grammar.
class Scanner {
  public:
    explicit Scanner(std::string_view text) : text_(text) {}

    bool isAtEnd() const { return at_ == text_.size(); }

    std::string_view rest() const { return text_.substr(at_); }

    void skipSpace() {
        while (next() == ' ' || next() == '\n' || next() == '\t' || next() == '\r') ++at_;
    }

    /// Skips a character, when it is the next one.
    bool take(char c) {
        if (isAtEnd() || text_[at_] != c) return false;
        ++at_;
        return true;
    }

    void expect(char c) {
        if (!take(c)) fail();
    }

    /// The text of the value that comes next.
    std::string_view value() {
        const std::size_t begin = at_;
        // Of each array and object around the place, whether it is an object.
        std::vector<bool> open;
        do {
            if (!endsAtOnce(open)) continue;
            while (!open.empty() && !beginsNextItem(open.back())) open.pop_back();
        } while (!open.empty());
        return text_.substr(begin, at_ - begin);
    }

    /// The text of a string, with its quotation marks.
    std::string_view string() {
        const std::size_t begin = at_;
        expect('"');
        while (!take('"')) {
            if (take('\\')) {
                escape();
            } else if (static_cast<unsigned char>(next()) < 0x20) {
                fail();
            } else {
                ++at_;
            }
        }
        return text_.substr(begin, at_ - begin);
    }

    /// What a string holds.
    std::string unescapedString() {
        std::string out;
        expect('"');
        while (!take('"')) {
            if (take('\\')) {
                appendUTF8(out, escape());
            } else {
                out += text_[at_++];
            }
        }
        return out;
    }

    /// A key and what separates it from its value.
    std::string_view key() {
        const std::string_view name = string();
        skipSpace();
        expect(':');
        skipSpace();
        return name;
    }

    [[noreturn]] void fail() const { throw JSONSyntaxError("syntax error at byte " + std::to_string(at_)); }

  private:
    /// The next character. At the end of the text a NUL, which the grammar has no place for.
    char next() const { return isAtEnd() ? '\0' : text_[at_]; }

    /// Goes over a value that holds no others, or into one that does, up to the first of them. Whether the
    /// value has ended.
    bool endsAtOnce(std::vector<bool>& open) {
        const bool isObject = next() == '{';
        if (!isObject && next() != '[') {
            scalar();
            return true;
        }
        ++at_;
        skipSpace();
        if (take(isObject ? '}' : ']')) return true;
        open.push_back(isObject);
        if (isObject) key();
        return false;
    }

    /// Goes on to the next item of an object or array, if there is one, and over its end otherwise.
    bool beginsNextItem(bool isObject) {
        skipSpace();
        if (!take(',')) {
            expect(isObject ? '}' : ']');
            return false;
        }
        skipSpace();
        if (isObject) key();
        return true;
    }

    void scalar() {
        switch (next()) {
            case '"':
                string();
                return;
            case 't':
                return word("true");
            case 'f':
                return word("false");
            case 'n':
                return word("null");
            default:
                number();
        }
    }

    void word(std::string_view letters) {
        if (!rest().starts_with(letters)) fail();
        at_ += letters.size();
    }

    void digits() {
        if (!isDigit(next())) fail();
        while (isDigit(next())) ++at_;
    }

    void number() {
        take('-');
        if (!take('0')) digits();
        if (take('.')) digits();
        if (take('e') || take('E')) {
            if (!take('+')) take('-');
            digits();
        }
    }

    /// The code point of an escape, whose backslash has been read.
    std::uint32_t escape() {
        constexpr std::string_view letters = "\"\\/bfnrt";
        constexpr std::string_view meanings = "\"\\/\b\f\n\r\t";
        if (take('u')) return codePoint();
        const std::size_t letter = letters.find(next());
        if (letter == std::string_view::npos) fail();
        ++at_;
        return static_cast<unsigned char>(meanings[letter]);
    }

    std::uint32_t codePoint() {
        const std::uint32_t unit = hexUnit();
        if (isLowSurrogate(unit)) fail();
        if (!isHighSurrogate(unit)) return unit;
        expect('\\');
        expect('u');
        const std::uint32_t low = hexUnit();
        if (!isLowSurrogate(low)) fail();
        return 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00);
    }

    std::uint32_t hexUnit() {
        std::uint32_t unit = 0;
        for (int digit = 0; digit < 4; ++digit) {
            const std::uint32_t value = hexValue(next());
            if (value > 15) fail();
            unit = unit << 4 | value;
            ++at_;
        }
        return unit;
    }

    std::string_view text_;
    std::size_t at_ = 0;
};

}  // namespace

JSONText JSONText::parse(std::string_view text) {
    if (!isValidUTF8(text)) throw JSONSyntaxError("it is not UTF-8");
    Scanner scanner(text);
    scanner.skipSpace();
    const std::string_view value = scanner.value();
    scanner.skipSpace();
    if (!scanner.isAtEnd()) scanner.fail();
    return JSONText(value);
}

JSONText::Kind JSONText::kind() const {
    switch (text_.front()) {
        case 'n':
            return Kind::null;
        case 't':
        case 'f':
            return Kind::boolean;
        case '"':
            return Kind::string;
        case '[':
            return Kind::array;
        case '{':
            return Kind::object;
        default:
            return Kind::number;
    }
}

std::string JSONText::string() const {
    // Images come as long strings without any.
    if (text_.find('\\') == std::string_view::npos) return std::string(text_.substr(1, text_.size() - 2));
    return Scanner(text_).unescapedString();
}

std::optional<JSONText> JSONItems::nextElement() {
    Scanner scanner(rest_);
    scanner.skipSpace();
    if (scanner.take(']')) return std::nullopt;
    if (scanner.take(',')) scanner.skipSpace();
    const JSONText element(scanner.value());
    rest_ = scanner.rest();
    return element;
}

std::optional<JSONItems::Member> JSONItems::nextMember() {
    Scanner scanner(rest_);
    scanner.skipSpace();
    if (scanner.take('}')) return std::nullopt;
    if (scanner.take(',')) scanner.skipSpace();
    const JSONText key(scanner.key());
    const JSONText value(scanner.value());
    rest_ = scanner.rest();
    return Member{key, value};
}

}  // namespace varkel
