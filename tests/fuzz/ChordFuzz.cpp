// Chords: a chord that names a key can be written down from what it means, and means the same again.

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "base/UnicodeText.h"
#include "fuzz/Property.h"
#include "keys/KeyMap.h"

namespace varkel::fuzzing {
namespace {

const std::map<std::uint64_t, std::string_view> modifiers{
    {0x20000, "shift"}, {0x40000, "ctrl"}, {0x80000, "alt"}, {0x100000, "cmd"}, {0x800000, "fn"}};

/// A name of every key that a chord can name.
std::map<std::uint16_t, std::string> makeNames() {
    std::map<std::uint16_t, std::string> names;
    const auto add = [&](const std::string& name) {
        const auto press = tokenToKeyPress(name);
        if (press && press->flags == 0) names.emplace(press->keyCode, name);
    };
    for (const char* name : {"return", "esc", "tab", "space", "delete", "fwd_delete", "up", "down", "left",
                             "right", "home", "end", "pageup", "pagedown"}) {
        add(name);
    }
    for (char c = ' '; c < '\x7F'; ++c) add(std::string(1, c));
    return names;
}

std::string written(const KeyPress& press) {
    static const std::map<std::uint16_t, std::string> names = makeNames();
    const auto name = names.find(press.keyCode);
    require(name != names.end(), "a chord's key is one that has a name");
    std::string chord;
    std::uint64_t known = 0;
    for (const auto& [flag, modifier] : modifiers) {
        known |= flag;
        if ((press.flags & flag) != 0) chord.append(modifier).append("+");
    }
    require((press.flags & ~known) == 0, "a chord's modifiers are those that have names");
    return chord + name->second;
}

}  // namespace

void check(std::string_view input) {
    const std::string token(input);
    const auto character = keyCodeForCharacter(token);
    const auto press = tokenToKeyPress(token);
    if (press) require(tokenToKeyPress(written(*press)) == press, "a chord's text means the chord");
    if (character) require(token.size() <= 3, "one key types one character");
    // What requests hold is UTF-8; other bytes need only be survived.
    if (!isValidUTF8(token)) return;
    require(tokenToKeyPress(lowerCased(token)) == press, "letter case does not count");
    require(tokenToKeyPress(token + "+") == press, "a plus sign at the end is nothing");
    if (!press) return;
    auto held = *press;
    held.flags |= 0x100000;
    require(tokenToKeyPress(token + "+cmd") == held, "a modifier may come last");
}

}  // namespace varkel::fuzzing
