#include "platform/linux/wayland/OwnKeymap.h"

#include <xkbcommon/xkbcommon-keysyms.h>

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <string_view>
#include <vector>

namespace varkel {

namespace {

struct Key {
    std::uint32_t key;
    xkb_keysym_t plain;
    xkb_keysym_t shifted;
};

/// A row of keys whose numbers follow one another.
struct Row {
    std::uint32_t first;
    std::string_view plain;
    std::string_view shifted;
};

constexpr std::array<Row, 5> rows{{
    {2, "1234567890-=", "!@#$%^&*()_+"},
    {16, "qwertyuiop[]", "QWERTYUIOP{}"},
    {30, "asdfghjkl;'`", "ASDFGHJKL:\"~"},
    {43, "\\zxcvbnm,./", "|ZXCVBNM<>?"},
    {57, " ", " "},
}};

constexpr std::array<Key, 19> namedKeys{{
    {1, XKB_KEY_Escape, 0},    {14, XKB_KEY_BackSpace, 0}, {15, XKB_KEY_Tab, XKB_KEY_ISO_Left_Tab},
    {28, XKB_KEY_Return, 0},   {29, XKB_KEY_Control_L, 0}, {42, XKB_KEY_Shift_L, 0},
    {56, XKB_KEY_Alt_L, 0},    {102, XKB_KEY_Home, 0},     {103, XKB_KEY_Up, 0},
    {104, XKB_KEY_Page_Up, 0}, {105, XKB_KEY_Left, 0},     {106, XKB_KEY_Right, 0},
    {107, XKB_KEY_End, 0},     {108, XKB_KEY_Down, 0},     {109, XKB_KEY_Page_Down, 0},
    {111, XKB_KEY_Delete, 0},  {125, XKB_KEY_Super_L, 0},  {58, XKB_KEY_Caps_Lock, 0},
    {69, XKB_KEY_Num_Lock, 0},
}};

/// Keys of which programs that look at a key's number make nothing of their own: none that a browser reloads,
/// goes back or changes the volume with. The last that X11 programs can be given is 247.
constexpr std::array<std::uint32_t, OwnKeymap::spareKeys> spares{
    86,  89,  124, 183, 184, 185, 186, 187, 188, 189, 190, 191, 192, 193, 194, 195,
    196, 197, 198, 199, 84,  209, 211, 213, 214, 218, 222, 240, 241, 242, 243, 244,
    245, 246, 247, 71,  72,  73,  75,  76,  77,  79,  80,  81,  82,  117, 118, 121,
};

/// XKB counts from 8 on.
constexpr std::uint32_t xkbOffset = 8;

std::vector<Key> usKeys() {
    std::vector<Key> keys(namedKeys.begin(), namedKeys.end());
    for (const Row& row : rows) {
        for (std::size_t i = 0; i < row.plain.size(); ++i) {
            keys.push_back({row.first + static_cast<std::uint32_t>(i),
                            static_cast<unsigned char>(row.plain[i]),
                            static_cast<unsigned char>(row.shifted[i])});
        }
    }
    return keys;
}

const std::vector<Key>& fixedKeys() {
    static const std::vector<Key> keys = usKeys();
    return keys;
}

std::string name(std::uint32_t key) {
    return "<K" + std::to_string(key) + ">";
}

/// Numbers below ten would be digits.
std::string number(xkb_keysym_t keysym) {
    if (keysym == XKB_KEY_NoSymbol) return "NoSymbol";
    constexpr std::string_view digits = "0123456789abcdef";
    std::string hex;
    for (int shift = 28; shift >= 0; shift -= 4) hex += digits[(keysym >> shift) & 0xF];
    return "0x" + hex;
}

struct Unref {
    void operator()(xkb_context* context) const { xkb_context_unref(context); }
    void operator()(xkb_keymap* keymap) const { xkb_keymap_unref(keymap); }
    void operator()(char* memory) const { std::free(memory); }
};

/// Other programs are handed a keymap that includes no files: theirs may be others.
std::string withoutIncludes(const std::string& source) {
    const std::unique_ptr<xkb_context, Unref> context(xkb_context_new(XKB_CONTEXT_NO_FLAGS));
    if (!context) return {};
    xkb_context_set_log_level(context.get(), XKB_LOG_LEVEL_CRITICAL);
    const std::unique_ptr<xkb_keymap, Unref> keymap(xkb_keymap_new_from_string(
        context.get(), source.c_str(), XKB_KEYMAP_FORMAT_TEXT_V1, XKB_KEYMAP_COMPILE_NO_FLAGS));
    if (!keymap) return {};
    const std::unique_ptr<char, Unref> complete(
        xkb_keymap_get_as_string(keymap.get(), XKB_KEYMAP_FORMAT_TEXT_V1));
    return complete ? std::string(complete.get()) : std::string();
}

}  // namespace

std::optional<OwnKeymap::Stroke> OwnKeymap::find(xkb_keysym_t keysym) const {
    if (keysym == XKB_KEY_NoSymbol) return std::nullopt;
    for (const Key& each : fixedKeys()) {
        if (each.plain == keysym) return Stroke{each.key, false};
        if (each.shifted == keysym) return Stroke{each.key, true};
    }
    const auto found = std::ranges::find(bound_, keysym);
    if (found == bound_.end()) return std::nullopt;
    const auto at = static_cast<std::size_t>(found - bound_.begin());
    return Stroke{spares[at % spareKeys], at >= spareKeys};
}

bool OwnKeymap::bind(std::span<const xkb_keysym_t> upcoming) {
    std::vector<xkb_keysym_t> wanted;
    const auto isWanted = [&wanted](xkb_keysym_t keysym) {
        return std::ranges::find(wanted, keysym) != wanted.end();
    };
    bool missing = false;
    for (const xkb_keysym_t keysym : upcoming) {
        if (wanted.size() == capacity) break;
        const bool isSpare = !isBound(keysym) || std::ranges::find(bound_, keysym) != bound_.end();
        if (keysym == XKB_KEY_NoSymbol || !isSpare || isWanted(keysym)) continue;
        missing = missing || !isBound(keysym);
        wanted.push_back(keysym);
    }
    if (!missing) return false;
    for (xkb_keysym_t& each : bound_) {
        if (!isWanted(each)) each = XKB_KEY_NoSymbol;
    }
    auto place = bound_.begin();
    for (const xkb_keysym_t keysym : wanted) {
        if (isBound(keysym)) continue;
        place = std::find(place, bound_.end(), xkb_keysym_t{XKB_KEY_NoSymbol});
        *place = keysym;
    }
    return true;
}

std::string OwnKeymap::text() const {
    std::string codes;
    std::string symbols;
    const auto add = [&](std::uint32_t key, xkb_keysym_t plain, xkb_keysym_t shifted) {
        codes += name(key) + " = " + std::to_string(key + xkbOffset) + ";\n";
        symbols += "key " + name(key) + " { [ " + number(plain);
        if (shifted != XKB_KEY_NoSymbol) symbols += ", " + number(shifted);
        symbols += " ] };\n";
    };
    for (const Key& each : fixedKeys()) add(each.key, each.plain, each.shifted);
    for (std::size_t i = 0; i < spareKeys; ++i) {
        const xkb_keysym_t shifted = bound_[i + spareKeys];
        if (bound_[i] != XKB_KEY_NoSymbol || shifted != XKB_KEY_NoSymbol) add(spares[i], bound_[i], shifted);
    }
    symbols +=
        "modifier_map Shift { Shift_L };\nmodifier_map Lock { Caps_Lock };\n"
        "modifier_map Control { Control_L };\nmodifier_map Mod1 { Alt_L };\n"
        "modifier_map Mod2 { Num_Lock };\nmodifier_map Mod4 { Super_L };\n";
    return withoutIncludes("xkb_keymap {\nxkb_keycodes \"varkel\" {\nminimum = 8;\nmaximum = 255;\n" + codes +
                           "};\nxkb_types \"varkel\" { include \"complete\" };\n"
                           "xkb_compatibility \"varkel\" { include \"complete\" };\n"
                           "xkb_symbols \"varkel\" {\n" +
                           symbols + "};\n};\n");
}

}  // namespace varkel
