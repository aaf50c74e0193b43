#include "platform/linux/atspi/AtspiPress.h"

#include <strings.h>

#include <algorithm>
#include <array>
#include <cstdint>

namespace varkel {

namespace {

/// What a click means, by the kind of element.
enum class Target : std::uint8_t {
    /// Puts the caret there.
    text,
    /// Selects it. What is called "activate" or "open" here is a double click.
    row,
    /// Opens it, or carries it out.
    menu,
    /// Carries it out.
    control,
    /// Clicks through to whatever is there; its default action may be that of an element around it.
    other,
};

Target targetOf(AtspiRole role) {
    using enum AtspiRole;
    switch (role) {
        case autocomplete:
        case dateEditor:
        case editbar:
        case entry:
        case passwordText:
        case spinButton:
        case terminal:
        case text:
            return Target::text;
        case desktopIcon:
        case icon:
        case listItem:
        case tableCell:
        case tableRow:
        case treeItem:
            return Target::row;
        case checkMenuItem:
        case menu:
        case menuItem:
        case radioMenuItem:
        case tearoffMenuItem:
            return Target::menu;
        case checkBox:
        case columnHeader:
        case comboBox:
        case link:
        case pageTab:
        case pushButton:
        case pushButtonMenu:
        case radioButton:
        case switchButton:
        case tableColumnHeader:
        case toggleButton:
            return Target::control;
        default:
            return Target::other;
    }
}

constexpr auto bit(Target target) {
    return static_cast<unsigned>(1u << static_cast<unsigned>(target));
}

constexpr unsigned rows = bit(Target::row);
constexpr unsigned menus = bit(Target::menu);
constexpr unsigned controls = bit(Target::control);
constexpr unsigned others = bit(Target::other);

struct PressName {
    /// In small letters.
    const char* name;
    /// The kinds of element on which it does what a click does.
    unsigned targets;
};

/// The first that an element offers is taken. The toolkits are those that use the name.
constexpr std::array<PressName, 12> pressNames{{
    {"click", rows | menus | controls | others},    // GTK 3, GTK 4, Chromium, Java
    {"press", rows | menus | controls | others},    // Qt, Chromium, Gecko, GTK 3's combo boxes
    {"toggle", rows | menus | controls | others},   // Qt's check boxes, GTK 4's switches, GTK 3's cells
    {"check", rows | menus | controls | others},    // Chromium, Gecko
    {"uncheck", rows | menus | controls | others},  // Chromium, Gecko
    {"select", rows | menus | controls | others},   // Chromium's and Gecko's options
    {"switch", menus | controls | others},          // Gecko's tabs
    {"activate", menus | controls | others},        // GTK 4's expanders, Chromium
    {"jump", menus | controls | others},            // Gecko's links
    {"open", menus | controls | others},            // Chromium's and Gecko's pop-up buttons
    {"dodefault", menus | controls},                // Chromium's buttons that do not name what they do
    {"showmenu", menus},                            // Qt's menus; elsewhere it is the context menu
}};

}  // namespace

bool mayBePressed(AtspiRole role) {
    return targetOf(role) != Target::text;
}

std::optional<std::size_t> pressAction(AtspiRole role, std::span<const std::string> offered) {
    const unsigned target = bit(targetOf(role));
    for (const PressName& press : pressNames) {
        if ((press.targets & target) == 0) continue;
        const auto found = std::ranges::find_if(offered, [&](const std::string& name) {
            // Not of the length of the name in the table when a zero byte stands in it.
            return ::strcasecmp(name.c_str(), press.name) == 0;
        });
        if (found != offered.end()) return static_cast<std::size_t>(found - offered.begin());
    }
    return std::nullopt;
}

}  // namespace varkel
