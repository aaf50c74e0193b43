#include <gtest/gtest.h>

#include "platform/linux/atspi/AtspiPress.h"

namespace varkel {

TEST(PressAction, DoesWhatAPersonsClickDoes) {
    using enum AtspiRole;
    const std::tuple<AtspiRole, std::vector<std::string>, const char*> cases[] = {
        // GTK 3.
        {pushButton, {"press", "release", "click"}, "click"},
        {comboBox, {"press"}, "press"},
        {text, {"activate"}, ""},
        {spinButton, {"activate"}, ""},
        {tableCell, {"expand or contract", "edit", "activate"}, ""},
        {tableCell, {"toggle", "edit", "activate"}, "toggle"},
        {icon, {"activate"}, ""},
        // Qt.
        {pushButton, {"Press", "SetFocus"}, "Press"},
        {checkBox, {"Toggle"}, "Toggle"},
        {menuItem, {"ShowMenu"}, "ShowMenu"},
        {comboBox, {"ShowMenu", "Press"}, "Press"},
        {text, {"SetFocus"}, ""},
        {label, {"SetFocus"}, ""},
        // GTK 4.
        {label, {"clipboard.copy", "link.open", "menu.popup"}, ""},
        {switchButton, {"toggle"}, "toggle"},
        {pushButton, {"activate"}, "activate"},
        {frame, {"window.close", "default.activate"}, ""},
        // Chromium and Gecko.
        {checkBox, {"check", "showContextMenu"}, "check"},
        {checkBox, {"uncheck"}, "uncheck"},
        {menuItem, {"select"}, "select"},
        {listItem, {"select"}, "select"},
        {pushButton, {"doDefault", "showContextMenu"}, "doDefault"},
        {panel, {"doDefault", "showContextMenu"}, ""},
        {entry, {"activate", "showContextMenu"}, ""},
        {pageTab, {"switch"}, "switch"},
        {link, {"jump"}, "jump"},
        {staticText, {"clickAncestor"}, ""},
        {pushButton, {}, ""},
    };
    for (const auto& [role, offered, expected] : cases) {
        const auto found = pressAction(role, offered);
        const std::string name = found ? offered[*found] : "";
        EXPECT_EQ(name, expected) << static_cast<int>(role) << " " << (offered.empty() ? "" : offered[0]);
    }
}

}  // namespace varkel
