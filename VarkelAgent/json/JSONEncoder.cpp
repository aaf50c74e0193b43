#include "json/JSONEncoder.h"

#include <array>
#include <charconv>
#include <cmath>

#include "base/UnicodeText.h"

namespace varkel {

namespace {

// Between these magnitudes a number is written with digits alone; outside them the digits would hide its
// size.
constexpr double smallestPlain = 1e-6;
constexpr double largestPlain = 1e21;

template <std::floating_point T>
void appendNumber(std::string& out, T value) {
    if (value == 0) {
        out += '0';
        return;
    }
    std::array<char, 64> digits;
    const double magnitude = std::abs(static_cast<double>(value));
    const bool plain = magnitude >= smallestPlain && magnitude < largestPlain;
    const auto format = plain ? std::chars_format::fixed : std::chars_format::scientific;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value, format).ptr;
    out.append(digits.data(), end);
}

template <std::integral T>
void appendInteger(std::string& out, T value) {
    std::array<char, 24> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    out.append(digits.data(), end);
}

void appendEscaped(std::string& out, char character) {
    constexpr std::string_view hex = "0123456789abcdef";
    switch (character) {
        case '"':
            out += "\\\"";
            return;
        case '\\':
            out += "\\\\";
            return;
        case '\b':
            out += "\\b";
            return;
        case '\f':
            out += "\\f";
            return;
        case '\n':
            out += "\\n";
            return;
        case '\r':
            out += "\\r";
            return;
        case '\t':
            out += "\\t";
            return;
        default:
            break;
    }
    const auto code = static_cast<unsigned char>(character);
    out += "\\u00";
    out += hex[code >> 4];
    out += hex[code & 15];
}

bool isPlain(unsigned char byte) {
    return byte >= 0x20 && byte < 0x80 && byte != '"' && byte != '\\';
}

}  // namespace

void JSONEncoder::writeInteger(std::int64_t value) {
    appendInteger(out_, value);
}

void JSONEncoder::writeInteger(std::uint64_t value) {
    appendInteger(out_, value);
}

void JSONEncoder::write(double value) {
    ok_ = ok_ && std::isfinite(value);
    if (ok_) appendNumber(out_, value);
}

void JSONEncoder::write(float value) {
    ok_ = ok_ && std::isfinite(value);
    if (ok_) appendNumber(out_, value);
}

void JSONEncoder::write(std::string_view value) {
    out_ += '"';
    std::size_t at = 0;
    while (at < value.size()) {
        const std::size_t start = at;
        while (at < value.size() && isPlain(static_cast<unsigned char>(value[at]))) ++at;
        out_.append(value, start, at - start);
        if (at == value.size()) break;
        if (static_cast<unsigned char>(value[at]) < 0x80) {
            appendEscaped(out_, value[at++]);
            continue;
        }
        const std::size_t length = sequenceLength(value, at);
        if (length == 0) {
            ok_ = false;
            return;
        }
        out_.append(value, at, length);
        at += length;
    }
    out_ += '"';
}

void JSONEncoder::write(const boost::json::object& value) {
    out_ += '{';
    bool first = true;
    for (const auto& entry : value) member(first, entry.key(), entry.value());
    out_ += '}';
}

void JSONEncoder::write(const boost::json::value& value) {
    switch (value.kind()) {
        case boost::json::kind::null:
            out_ += "null";
            return;
        case boost::json::kind::bool_:
            write(value.get_bool());
            return;
        case boost::json::kind::int64:
            write(value.get_int64());
            return;
        case boost::json::kind::uint64:
            write(value.get_uint64());
            return;
        case boost::json::kind::double_:
            write(value.get_double());
            return;
        case boost::json::kind::string:
            write(std::string_view(value.get_string()));
            return;
        case boost::json::kind::object:
            write(value.get_object());
            return;
        case boost::json::kind::array:
            break;
    }
    out_ += '[';
    for (bool first = true; const auto& entry : value.get_array()) {
        if (!first) out_ += ',';
        first = false;
        write(entry);
    }
    out_ += ']';
}

}  // namespace varkel
