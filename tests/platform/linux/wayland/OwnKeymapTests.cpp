// The keymap that programs get, as the library reads it that they read it with.

#include <gmock/gmock.h>
#include <xkbcommon/xkbcommon.h>

#include "platform/linux/input/Keysyms.h"
#include "platform/linux/wayland/OwnKeymap.h"

namespace varkel {
namespace {

/// What a stroke of a keymap's gives to a program.
class Program {
  public:
    explicit Program(const OwnKeymap& keymap)
        : keymap_(xkb_keymap_new_from_string(context_.get(), keymap.text().c_str(), XKB_KEYMAP_FORMAT_TEXT_V1,
                                             XKB_KEYMAP_COMPILE_NO_FLAGS),
                  xkb_keymap_unref) {}

    xkb_keysym_t read(const OwnKeymap::Stroke& stroke) const {
        const std::unique_ptr<xkb_state, decltype(&xkb_state_unref)> state(xkb_state_new(keymap_.get()),
                                                                           xkb_state_unref);
        xkb_state_update_mask(state.get(), stroke.shift ? 1 : 0, 0, 0, 0, 0, 0);
        return xkb_state_key_get_one_sym(state.get(), stroke.key + 8);
    }

  private:
    std::unique_ptr<xkb_context, decltype(&xkb_context_unref)> context_{xkb_context_new(XKB_CONTEXT_NO_FLAGS),
                                                                        xkb_context_unref};
    std::unique_ptr<xkb_keymap, decltype(&xkb_keymap_unref)> keymap_;
};

void expectAll(const OwnKeymap& keymap, const std::vector<xkb_keysym_t>& keysyms) {
    const Program program(keymap);
    for (const xkb_keysym_t keysym : keysyms) {
        const auto stroke = keymap.find(keysym);
        ASSERT_TRUE(stroke) << std::hex << keysym;
        EXPECT_EQ(canonicalKeysym(program.read(*stroke)), canonicalKeysym(keysym)) << std::hex << keysym;
    }
}

TEST(OwnKeymap, GivesProgramsEveryCharacterOfAText) {
    OwnKeymap keymap;
    std::vector<xkb_keysym_t> us;
    for (char16_t character = u' '; character < 0x7F; ++character) {
        const auto keysyms = keysymsForText({&character, 1});
        us.insert(us.end(), keysyms.begin(), keysyms.end());
    }
    expectAll(keymap, us);
    const auto text = keysymsForText(u"Grüße, 5 € ẞ 漢字 αЖ 😀\u200d\u0301\t\n");
    EXPECT_TRUE(keymap.bind(text));
    EXPECT_FALSE(keymap.bind(text));
    expectAll(keymap, text);
    expectAll(keymap, us);
}

TEST(OwnKeymap, MakesRoomForWhatComesNextAndKeepsWhatOfItIsThere) {
    OwnKeymap keymap;
    std::vector<xkb_keysym_t> text;
    for (xkb_keysym_t character = 0; character < 3 * OwnKeymap::capacity; ++character)
        text.push_back(0x01004E00 + character);
    EXPECT_TRUE(keymap.bind(text));
    const std::vector<xkb_keysym_t> first(text.begin(), text.begin() + OwnKeymap::capacity);
    expectAll(keymap, first);
    EXPECT_FALSE(keymap.find(text[OwnKeymap::capacity]));
    const auto kept = keymap.find(first.back());
    const std::vector<xkb_keysym_t> next(text.begin() + OwnKeymap::capacity - 1,
                                         text.begin() + 2 * OwnKeymap::capacity - 1);
    EXPECT_TRUE(keymap.bind(next));
    expectAll(keymap, next);
    EXPECT_EQ(keymap.find(first.back()), kept);
    EXPECT_FALSE(keymap.find(first.front()));
    // Few of them, so that keys are left that have one character alone, whichever of their two it is.
    std::vector<xkb_keysym_t> few{0x0100043E};
    for (std::size_t i = 0; i < next.size(); i += 7) few.push_back(next[i]);
    EXPECT_TRUE(keymap.bind(few));
    expectAll(keymap, few);
}

}  // namespace
}  // namespace varkel
