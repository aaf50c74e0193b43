#include <gtest/gtest.h>
#include <xkbcommon/xkbcommon-keysyms.h>

#include "base/Graphemes.h"
#include "keys/KeyMap.h"
#include "platform/linux/input/Keysyms.h"

namespace varkel {

TEST(Keysyms, MeanTheCharacterThatTheKeyMapGaveTheKeyFor) {
    for (char c = ' '; c < 0x7F; ++c) {
        const auto press = keyCodeForCharacter(std::string_view(&c, 1));
        ASSERT_TRUE(press) << c;
        const bool shift = press->flags != 0;
        const auto meaning = keysymForKey(press->keyCode, shift);
        ASSERT_TRUE(meaning) << c;
        EXPECT_EQ(meaning->keysym, static_cast<xkb_keysym_t>(c)) << c;
        EXPECT_EQ(meaning->shiftChoosesCharacter, shift) << c;
    }
}

TEST(Keysyms, HaveACounterpartForEveryNamedKeyAndKeepShiftForIt) {
    for (const std::string_view token : {"return", "esc", "tab", "space", "delete", "fwd_delete", "up",
                                         "down", "left", "right", "home", "end", "pageup", "pagedown"}) {
        const auto meaning = keysymForKey(tokenToKeyPress(token)->keyCode, true);
        ASSERT_TRUE(meaning) << token;
        EXPECT_FALSE(meaning->shiftChoosesCharacter) << token;
    }
    EXPECT_EQ(keysymForKey(51, false)->keysym, static_cast<xkb_keysym_t>(XKB_KEY_BackSpace));
    EXPECT_EQ(keysymForKey(117, false)->keysym, static_cast<xkb_keysym_t>(XKB_KEY_Delete));
    for (const CGKeyCode code : {CGKeyCode{10}, CGKeyCode{52}, CGKeyCode{200}, CGKeyCode{65535}}) {
        EXPECT_FALSE(keysymForKey(code, false)) << code;
    }
}

TEST(Keysyms, TypeATextCodePointByCodePoint) {
    const std::pair<std::u16string_view, std::vector<xkb_keysym_t>> cases[] = {
        {u"é€", {0xE9, 0x010020AC}},
        {u"😀", {0x0101F600}},
        {u"e\u0301", {0x65, 0x01000301}},
        {u"👍🏽", {0x0101F44D, 0x0101F3FD}},
        {u"\t\x1B\b", {XKB_KEY_Tab, XKB_KEY_Escape, XKB_KEY_BackSpace}},
        {u"\r\n", {XKB_KEY_Return}},
        {u"\n\r", {XKB_KEY_Return, XKB_KEY_Return}},
        {u"\x01\x02", {}},
        {{u"\xD800", 1}, {}},  // half a character
        {{u"\xDC00x", 2}, {0x78}},
    };
    for (const auto& [text, keysyms] : cases) EXPECT_EQ(keysymsForText(text), keysyms);
}

TEST(Keysyms, GiveEveryCharacterBackThatIsNoControlCharacter) {
    for (char32_t character = 0xA0; character <= 0x10FFFF; ++character) {
        std::u16string text;
        if (character > 0xFFFF) text += static_cast<char16_t>(0xD7C0 + (character >> 10));
        text += static_cast<char16_t>(character > 0xFFFF ? 0xDC00 + (character & 0x3FF) : character);
        const auto keysyms = keysymsForText(text);
        const bool isHalf = character >= 0xD800 && character < 0xE000;
        ASSERT_EQ(keysyms.size(), isHalf ? 0U : 1U) << std::hex << static_cast<std::uint32_t>(character);
        if (isHalf) continue;
        ASSERT_EQ(xkb_keysym_to_utf32(keysyms.front()), character);
    }
}

TEST(Keysyms, OfTheSameCharacterCompareEqual) {
    EXPECT_EQ(canonicalKeysym(XKB_KEY_EuroSign), canonicalKeysym(0x010020AC));
    EXPECT_EQ(canonicalKeysym(XKB_KEY_Greek_alpha), 0x010003B1U);
    EXPECT_EQ(canonicalKeysym(XKB_KEY_a), static_cast<xkb_keysym_t>('a'));
    // These only look alike.
    EXPECT_NE(canonicalKeysym(XKB_KEY_KP_1), canonicalKeysym(XKB_KEY_1));
    EXPECT_NE(canonicalKeysym(XKB_KEY_dead_circumflex), canonicalKeysym(XKB_KEY_asciicircum));
    EXPECT_NE(canonicalKeysym(XKB_KEY_KP_Enter), canonicalKeysym(XKB_KEY_Return));
}

}  // namespace varkel
