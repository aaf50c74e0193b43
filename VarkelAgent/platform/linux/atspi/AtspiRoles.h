#pragma once

#include <cstdint>

namespace varkel {

/// The numbers of AT-SPI's roles, as GetRole answers them.
// clang-format off
enum class AtspiRole : std::uint32_t {
    invalid, acceleratorLabel, alert, animation, arrow, calendar, canvas, checkBox, checkMenuItem, colorChooser,
    columnHeader, comboBox, dateEditor, desktopIcon, desktopFrame, dial, dialog, directoryPane, drawingArea,
    fileChooser, filler, focusTraversable, fontChooser, frame, glassPane, htmlContainer, icon, image, internalFrame,
    label, layeredPane, list, listItem, menu, menuBar, menuItem, optionPane, pageTab, pageTabList, panel,
    passwordText, popupMenu, progressBar, pushButton, radioButton, radioMenuItem, rootPane, rowHeader, scrollBar,
    scrollPane, separator, slider, spinButton, splitPane, statusBar, table, tableCell, tableColumnHeader,
    tableRowHeader, tearoffMenuItem, terminal, text, toggleButton, toolBar, toolTip, tree, treeTable, unknown,
    viewport, window, extended, header, footer, paragraph, ruler, application, autocomplete, editbar, embedded, entry,
    chart, caption, documentFrame, heading, page, section, redundantObject, form, link, inputMethodWindow, tableRow,
    treeItem, documentSpreadsheet, documentPresentation, documentText, documentWeb, documentEmail, comment, listBox,
    grouping, imageMap, notification, infoBar, levelBar, titleBar, blockQuote, audio, video, definition, article,
    landmark, log, marquee, math, rating, timer, staticText, mathFraction, mathRoot, subscript, superscript,
    descriptionList, descriptionTerm, descriptionValue, footnote, contentDeletion, contentInsertion, mark, suggestion,
    pushButtonMenu, switchButton,
};
// clang-format on

/// The bits of an element's state set that the agent looks at.
enum class AtspiState : unsigned {
    active = 1,
    editable = 7,
    enabled = 8,
    focused = 12,
    multiLine = 17,
    sensitive = 24,
    showing = 25,
    visible = 30,
};

/// An element's state set: bit n is AtspiState n.
class AtspiStates {
  public:
    AtspiStates() = default;
    explicit AtspiStates(std::uint64_t bits) : bits_(bits) {}
    bool has(AtspiState state) const { return ((bits_ >> static_cast<unsigned>(state)) & 1u) != 0; }

  private:
    std::uint64_t bits_ = 0;
};

/// The "AXRole" of an element with this role and these states. Unlisted numbers are "AXUnknown".
const char* axRole(AtspiRole role, AtspiStates states);

/// Whether axRole() looks at the states of an element of this role.
bool roleDependsOnStates(AtspiRole role);

/// Whether an element of this role holds a text that is its value: what it shows or what a person types
/// there. Password fields are not among them.
bool isTextBearing(AtspiRole role);

}  // namespace varkel
