#include "platform/linux/input/Keysyms.h"

#include <unicode/utf16.h>
#include <xkbcommon/xkbcommon-keysyms.h>

#include <array>
#include <cstdint>
#include <utility>

namespace varkel {

namespace {

/// The US characters of the virtual key codes from 0 on, without and with Shift; a blank has none.
constexpr std::string_view plainCharacters = "asdfhgzxcv bqweryt123465=97-80]ou[ip lj'k;\\,/nm.  `";
constexpr std::string_view shiftedCharacters = "ASDFHGZXCV BQWERYT!@#$^%+(&_*)}OU{IP LJ\"K:|<?NM>  ~";
static_assert(plainCharacters.size() == 51 && shiftedCharacters.size() == 51);

constexpr std::pair<CGKeyCode, xkb_keysym_t> namedKeys[] = {
    {36, XKB_KEY_Return}, {48, XKB_KEY_Tab},        {49, XKB_KEY_space},    {51, XKB_KEY_BackSpace},
    {53, XKB_KEY_Escape}, {115, XKB_KEY_Home},      {116, XKB_KEY_Page_Up}, {117, XKB_KEY_Delete},
    {119, XKB_KEY_End},   {121, XKB_KEY_Page_Down}, {123, XKB_KEY_Left},    {124, XKB_KEY_Right},
    {125, XKB_KEY_Down},  {126, XKB_KEY_Up},
};

constexpr xkb_keysym_t unicodeKeysymBase = 0x01000000;

/// xkb_utf32_to_keysym() would not do: it has no Return for a line feed, gives control characters and halves
/// of surrogate pairs keysyms, and characters of older alphabets the keysyms from before Unicode.
xkb_keysym_t keysymForCharacter(char32_t character) {
    switch (character) {
        case 0x08:
        case 0x7F:
            return XKB_KEY_BackSpace;
        case 0x09:
            return XKB_KEY_Tab;
        case 0x0A:
        case 0x0D:
            return XKB_KEY_Return;
        case 0x1B:
            return XKB_KEY_Escape;
        default:
            break;
    }
    if (character < 0x20 || (character >= 0xD800 && character < 0xE000) || character > 0x10FFFF) {
        return XKB_KEY_NoSymbol;
    }
    const bool isLatin1 = character < 0x7F || (character >= 0xA0 && character <= 0xFF);
    return isLatin1 ? static_cast<xkb_keysym_t>(character)
                    : unicodeKeysymBase + static_cast<xkb_keysym_t>(character);
}

bool isKeypad(xkb_keysym_t keysym) {
    return keysym >= XKB_KEY_KP_Space && keysym <= XKB_KEY_KP_Equal;
}

}  // namespace

std::optional<KeyMeaning> keysymForKey(CGKeyCode keyCode, bool shift) {
    for (const auto& [code, keysym] : namedKeys) {
        if (code == keyCode) return KeyMeaning{keysym, false};
    }
    if (keyCode >= plainCharacters.size() || plainCharacters[keyCode] == ' ') return std::nullopt;
    const char character = shift ? shiftedCharacters[keyCode] : plainCharacters[keyCode];
    return KeyMeaning{keysymForCharacter(static_cast<unsigned char>(character)), shift};
}

std::vector<xkb_keysym_t> keysymsForText(std::u16string_view text) {
    std::vector<xkb_keysym_t> keysyms;
    keysyms.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        UChar32 character = 0;
        const bool endsLine = at > 0 && text[at] == u'\n' && text[at - 1] == u'\r';
        U16_NEXT(text.data(), at, text.size(), character);
        if (endsLine) continue;
        const xkb_keysym_t keysym = keysymForCharacter(static_cast<char32_t>(character));
        if (keysym != XKB_KEY_NoSymbol) keysyms.push_back(keysym);
    }
    return keysyms;
}

xkb_keysym_t canonicalKeysym(xkb_keysym_t keysym) {
    // A keypad key types the same character, but is another key to the application.
    if (isKeypad(keysym)) return keysym;
    const std::uint32_t character = xkb_keysym_to_utf32(keysym);
    if (character < 0x20 || character == 0x7F) return keysym;
    return keysymForCharacter(character);
}

}  // namespace varkel
