#include "keys/KeyMap.h"

#include <unicode/normalizer2.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <string>
#include <vector>

#include "base/Graphemes.h"
#include "base/UnicodeText.h"

namespace varkel {

namespace {

constexpr std::uint64_t shiftFlag = 0x20000;
constexpr std::uint64_t controlFlag = 0x40000;
constexpr std::uint64_t optionFlag = 0x80000;
constexpr std::uint64_t commandFlag = 0x100000;
constexpr std::uint64_t fnFlag = 0x800000;

/// The characters of one key, without and with Shift; 0 is none.
struct CharacterKey {
    std::uint16_t keyCode;
    char plain;
    char shifted;
};

constexpr CharacterKey characterKeys[] = {
    {0, 'a', 'A'},   {1, 's', 'S'},  {2, 'd', 'D'},  {3, 'f', 'F'},   {4, 'h', 'H'},  {5, 'g', 'G'},
    {6, 'z', 'Z'},   {7, 'x', 'X'},  {8, 'c', 'C'},  {9, 'v', 'V'},   {11, 'b', 'B'}, {12, 'q', 'Q'},
    {13, 'w', 'W'},  {14, 'e', 'E'}, {15, 'r', 'R'}, {16, 'y', 'Y'},  {17, 't', 'T'}, {18, '1', '!'},
    {19, '2', '@'},  {20, '3', '#'}, {21, '4', '$'}, {22, '6', '^'},  {23, '5', '%'}, {24, '=', '+'},
    {25, '9', '('},  {26, '7', '&'}, {27, '-', '_'}, {28, '8', '*'},  {29, '0', ')'}, {30, ']', '}'},
    {31, 'o', 'O'},  {32, 'u', 'U'}, {33, '[', '{'}, {34, 'i', 'I'},  {35, 'p', 'P'}, {36, '\n', 0},
    {36, '\r', 0},   {37, 'l', 'L'}, {38, 'j', 'J'}, {39, '\'', '"'}, {40, 'k', 'K'}, {41, ';', ':'},
    {42, '\\', '|'}, {43, ',', '<'}, {44, '/', '?'}, {45, 'n', 'N'},  {46, 'm', 'M'}, {47, '.', '>'},
    {49, ' ', 0},    {50, '`', '~'},
};

struct NamedKey {
    std::string_view name;
    std::uint16_t keyCode;
};

constexpr NamedKey namedKeys[] = {
    {"return", 36}, {"enter", 36},     {"esc", 53},         {"escape", 53},  {"tab", 48},       {"space", 49},
    {"delete", 51}, {"backspace", 51}, {"fwd_delete", 117}, {"up", 126},     {"down", 125},     {"left", 123},
    {"right", 124}, {"home", 115},     {"end", 119},        {"pageup", 116}, {"pagedown", 121},
};

struct ModifierName {
    std::string_view name;
    std::uint64_t flag;
};

constexpr ModifierName modifierNames[] = {
    {"ctrl", controlFlag}, {"control", controlFlag}, {"alt", optionFlag},      {"option", optionFlag},
    {"opt", optionFlag},   {"cmd", commandFlag},     {"command", commandFlag}, {"meta", commandFlag},
    {"shift", shiftFlag},  {"fn", fnFlag},
};

constexpr std::size_t asciiCount = 128;
using ASCIITable = std::array<std::optional<KeyPress>, asciiCount>;

constexpr ASCIITable makeASCIITable() {
    ASCIITable table{};
    for (const CharacterKey& key : characterKeys) {
        table[static_cast<unsigned char>(key.plain)] = KeyPress{key.keyCode, 0};
        if (key.shifted != 0)
            table[static_cast<unsigned char>(key.shifted)] = KeyPress{key.keyCode, shiftFlag};
    }
    return table;
}

constexpr ASCIITable asciiTable = makeASCIITable();

/// The ASCII character that is canonically equivalent to this one, or nothing. A few characters outside ASCII
/// (the Kelvin sign, say) are another spelling of one inside it.
std::optional<unsigned char> asciiEquivalent(std::string_view character) {
    if (character.size() == 1) {
        const auto byte = static_cast<unsigned char>(character.front());
        return byte < asciiCount ? std::optional(byte) : std::nullopt;
    }
    // The longest spelling of an ASCII character takes three bytes.
    if (character.empty() || character.size() > 3) return std::nullopt;

    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* composer = icu::Normalizer2::getNFCInstance(status);
    if (U_FAILURE(status)) return std::nullopt;
    const auto composed = composer->normalize(icu::UnicodeString::fromUTF8(icu::StringPiece(
                                                  character.data(), static_cast<int32_t>(character.size()))),
                                              status);
    if (U_FAILURE(status) || composed.length() != 1 || composed[0] >= asciiCount) return std::nullopt;
    return static_cast<unsigned char>(composed[0]);
}

/// Only a plus sign that is a character of its own separates: one that carries a combining mark does not.
std::vector<std::string> splitAtPlus(std::string_view text) {
    std::vector<std::string> parts;
    std::string part;
    const auto finish = [&] {
        if (!part.empty()) parts.push_back(std::move(part));
        part.clear();
    };
    for (const std::string_view character : graphemeClusters(text)) {
        if (character == "+") {
            finish();
        } else {
            part += character;
        }
    }
    finish();
    return parts;
}

template <class Table>
auto findByName(const Table& table, std::string_view name) {
    return std::find_if(std::begin(table), std::end(table),
                        [&](const auto& row) { return row.name == name; });
}

}  // namespace

std::optional<KeyPress> keyCodeForCharacter(std::string_view character) {
    const auto ascii = asciiEquivalent(character);
    return ascii ? asciiTable[*ascii] : std::nullopt;
}

std::optional<KeyPress> tokenToKeyPress(std::string_view token) {
    std::uint64_t flags = 0;
    std::string key;
    for (std::string& part : splitAtPlus(lowerCased(token))) {
        const auto* modifier = findByName(modifierNames, part);
        if (modifier != std::end(modifierNames)) {
            flags |= modifier->flag;
        } else {
            key = std::move(part);
        }
    }
    if (key.empty()) return std::nullopt;

    const auto* named = findByName(namedKeys, key);
    if (named != std::end(namedKeys)) return KeyPress{named->keyCode, flags};

    const auto press = keyCodeForCharacter(key);
    if (!press) return std::nullopt;
    return KeyPress{press->keyCode, flags | press->flags};
}

}  // namespace varkel
