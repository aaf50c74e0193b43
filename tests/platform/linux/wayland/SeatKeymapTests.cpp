#include <gtest/gtest.h>
#include <xkbcommon/xkbcommon-keysyms.h>

#include <cstdlib>
#include <utility>
#include <vector>

#include "platform/linux/wayland/SeatKeymap.h"

namespace varkel {
namespace {

/// The keymap of layouts such as "us,de", as a compositor hands it out.
SeatKeymap keymapOf(const char* layouts) {
    const std::unique_ptr<xkb_context, void (*)(xkb_context*)> context(xkb_context_new(XKB_CONTEXT_NO_FLAGS),
                                                                       xkb_context_unref);
    const xkb_rule_names names{"evdev", "pc105", layouts, "", ""};
    const std::unique_ptr<xkb_keymap, void (*)(xkb_keymap*)> keymap(
        xkb_keymap_new_from_names(context.get(), &names, XKB_KEYMAP_COMPILE_NO_FLAGS), xkb_keymap_unref);
    const std::unique_ptr<char, void (*)(void*)> text(
        xkb_keymap_get_as_string(keymap.get(), XKB_KEYMAP_FORMAT_TEXT_V1), std::free);
    return SeatKeymap::parse(text.get()).value();
}

/// As text is turned into keysyms.
constexpr xkb_keysym_t euro = 0x010020AC;

TEST(SeatKeymap, FindsKeysByLayout) {
    struct Case {
        const char* layouts;
        xkb_layout_index_t layout;
        xkb_keysym_t keysym;
        int code;  // -1: none
        xkb_level_index_t level;
    };
    constexpr xkb_keycode_t z = 52;
    constexpr xkb_keycode_t y = 29;
    const Case cases[] = {
        {"us", 0, 'z', z, 0},         {"us", 0, 'Z', z, 1},    {"us", 0, euro, -1, 0},
        {"us,de", 1, 'z', y, 0},      {"us,de", 0, 'z', z, 0}, {"de", 0, euro, 26, 2},
        {"de", 0, 0x01006F22, -1, 0},
    };
    for (const Case& each : cases) {
        const auto key = keymapOf(each.layouts).find(each.keysym, each.layout, 3);
        EXPECT_EQ(key ? static_cast<int>(key->code) : -1, each.code) << each.layouts << " " << each.keysym;
        EXPECT_EQ(key ? key->level : 0, each.level) << each.layouts << " " << each.keysym;
    }
}

TEST(SeatKeymap, TellsWhatEveryLayoutHas) {
    EXPECT_EQ(keymapOf("us,de").findInAll('y', 3), xkb_keysym_t{'y'});
    EXPECT_EQ(keymapOf("us,gr").findInAll('y', 3), std::nullopt);
    EXPECT_EQ(keymapOf("us,de").findInAll(euro, 3), std::nullopt);
    // As it stands on the key, which is what a desktop looks for.
    EXPECT_EQ(keymapOf("de").findInAll(euro, 3), xkb_keysym_t{XKB_KEY_EuroSign});
    // On a key of its own, and before that on the fourth level of another one.
    EXPECT_EQ(keymapOf("fr").findInAll('<', 3), std::nullopt);
    // The fourth level, which no desktop presses by itself.
    EXPECT_EQ(keymapOf("de").findInAll(XKB_KEY_exclamdown, 3), std::nullopt);
    EXPECT_FALSE(SeatKeymap::parse("").has_value() || SeatKeymap::parse("xkb_keymap {").has_value());
}

TEST(SeatKeymap, KnowsWhatIsHeldForACharacter) {
    using Keys = std::vector<std::uint32_t>;
    constexpr std::uint32_t shift = 42;
    constexpr std::uint32_t altGr = 84;
    const auto stroke = [](const char* layout, xkb_keysym_t keysym) {
        const auto found = keymapOf(layout).stroke(keysym, 0);
        return found ? std::pair(found->key, found->modifierKeys) : std::pair(0U, Keys());
    };
    EXPECT_EQ(stroke("us", 'z'), std::pair(44U, Keys()));
    EXPECT_EQ(stroke("us", '?'), std::pair(53U, Keys{shift}));
    EXPECT_EQ(stroke("de", euro), std::pair(18U, Keys{altGr}));
    EXPECT_EQ(stroke("de", XKB_KEY_exclamdown).second, (Keys{shift, altGr}));
    EXPECT_EQ(stroke("us", euro).first, 0U);
}

}  // namespace
}  // namespace varkel
