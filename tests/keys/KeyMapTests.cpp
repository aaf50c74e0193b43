#include <gtest/gtest.h>

#include "base/Graphemes.h"
#include "keys/KeyMap.h"

namespace varkel {

constexpr std::uint64_t shift = 0x20000;

TEST(KeyMap, TypesEveryPrintableASCIICharacterWithTheKeyThatAUSKeyboardHasForIt) {
    // By rows of the physical keyboard, which is not how the map is written.
    const std::tuple<std::string_view, std::string_view, std::vector<std::uint16_t>> rows[] = {
        {"`1234567890-=", "~!@#$%^&*()_+", {50, 18, 19, 20, 21, 23, 22, 26, 28, 25, 29, 27, 24}},
        {"qwertyuiop[]\\", "QWERTYUIOP{}|", {12, 13, 14, 15, 17, 16, 32, 34, 31, 35, 33, 30, 42}},
        {"asdfghjkl;'", "ASDFGHJKL:\"", {0, 1, 2, 3, 5, 4, 38, 40, 37, 41, 39}},
        {"zxcvbnm,./", "ZXCVBNM<>?", {6, 7, 8, 9, 11, 45, 46, 43, 47, 44}},
    };
    std::size_t count = 0;
    for (const auto& [plain, shifted, keyCodes] : rows) {
        ASSERT_EQ(plain.size(), keyCodes.size());
        ASSERT_EQ(shifted.size(), keyCodes.size());
        for (std::size_t at = 0; at < keyCodes.size(); ++at, count += 2) {
            EXPECT_EQ(keyCodeForCharacter(plain.substr(at, 1)), (KeyPress{keyCodes[at], 0})) << plain[at];
            EXPECT_EQ(keyCodeForCharacter(shifted.substr(at, 1)), (KeyPress{keyCodes[at], shift}))
                << shifted[at];
        }
    }
    EXPECT_EQ(count, 94U);
    EXPECT_EQ(keyCodeForCharacter(" "), (KeyPress{49, 0}));
    EXPECT_EQ(keyCodeForCharacter("\n"), (KeyPress{36, 0}));
    EXPECT_EQ(keyCodeForCharacter("\r"), (KeyPress{36, 0}));
}

TEST(KeyMap, TakesOtherSpellingsOfACharacterForTheCharacter) {
    EXPECT_EQ(keyCodeForCharacter("\u212A"), (KeyPress{40, shift}));  // Kelvin sign
    EXPECT_EQ(keyCodeForCharacter("\u037E"), (KeyPress{41, 0}));      // Greek question mark
    EXPECT_EQ(keyCodeForCharacter("\u1FEF"), (KeyPress{50, 0}));      // Greek varia
}

TEST(KeyMap, HasNoKeyForAnythingElse) {
    for (const std::string_view character : {"", "\t", "\x1B", "\x7F", "\x01", "\r\n", "é", "e\u0301",
                                             "a\u0308", "€", "ａ", "\u00A0", "😀", "ab", "\xFF", "\xC3"}) {
        EXPECT_EQ(keyCodeForCharacter(character), std::nullopt) << character;
    }
    EXPECT_EQ(keyCodeForCharacter(std::string_view("\0", 1)), std::nullopt);
}

TEST(KeyMap, ReadsChords) {
    const std::pair<std::string_view, KeyPress> cases[] = {
        {"Cmd+Shift+T", {17, 0x120000}},
        {"ctrl+c", {8, 0x40000}},
        {"opt+left", {123, 0x80000}},
        {"fn+delete", {51, 0x800000}},
        {"meta+alt+control+shift+fn+return", {36, 0x9E0000}},
        {"command+option+x", {7, 0x180000}},
        // Modifiers may follow the key; the last key counts; repeating changes nothing.
        {"t+cmd", {17, 0x100000}},
        {"left+a", {0, 0}},
        {"shift+shift+1", {18, shift}},
        // Empty parts do not count.
        {"+cmd++a+", {0, 0x100000}},
        // A letter has lost its Shift to the lower case, punctuation keeps it.
        {"cmd+A", {0, 0x100000}},
        {"cmd+?", {44, 0x120000}},
        {"\u212A", {40, 0}},
        {" cmd+a", {0, 0}},  // " cmd" names no key, and "a" replaces it
    };
    for (const auto& [token, press] : cases) EXPECT_EQ(tokenToKeyPress(token), press) << token;
    const std::map<std::string_view, std::uint16_t> named{
        {"enter", 36},   {"ESC", 53},       {"escape", 53},      {"tab", 48},
        {"space", 49},   {"backspace", 51}, {"fwd_delete", 117}, {"up", 126},
        {"down", 125},   {"right", 124},    {"home", 115},       {"end", 119},
        {"PageUp", 116}, {"PageDown", 121}, {"\n", 36},          {" ", 49}};
    for (const auto& [token, code] : named) EXPECT_EQ(tokenToKeyPress(token), (KeyPress{code, 0})) << token;
    for (const std::string_view token : {"", "+", "cmd", "cmd+shift", "f5", "cmd+pgup", "cmd+é", "a+ cmd",
                                         "cmd+\u0301a" /* the plus sign carries an accent */, "\xFF\xFE"}) {
        EXPECT_EQ(tokenToKeyPress(token), std::nullopt) << token;
    }
}

TEST(Graphemes, AreWhatAPersonCountsAsOneCharacter) {
    const std::pair<std::string_view, std::vector<std::string_view>> cases[] = {
        {"", {}},
        {"ab", {"a", "b"}},
        {"a\r\nb\n", {"a", "\r\n", "b", "\n"}},
        {"e\u0301é", {"e\u0301", "é"}},
        {"👨‍👩‍👧!", {"👨‍👩‍👧", "!"}},
        {"🇩🇪🇫🇷", {"🇩🇪", "🇫🇷"}},
        {"👍🏽", {"👍🏽"}},
        {"한글", {"한", "글"}},
    };
    for (const auto& [text, characters] : cases) EXPECT_EQ(graphemeClusters(text), characters) << text;
}

TEST(Graphemes, LoseNoByteOfATextThatIsNotUTF8) {
    const std::string text = "a\xFF\xC3\xE2\x82z\x80";
    std::string joined;
    for (const std::string_view character : graphemeClusters(text)) joined += character;
    EXPECT_EQ(joined, text);
}

}  // namespace varkel
