#include "platform/linux/atspi/AtspiRoles.h"

namespace varkel {

const char* axRole(AtspiRole role, AtspiStates states) {
    using enum AtspiRole;
    switch (role) {
        case application:
            return "AXApplication";

        case alert:
        case colorChooser:
        case desktopFrame:
        case dialog:
        case fileChooser:
        case fontChooser:
        case frame:
        case inputMethodWindow:
        case internalFrame:
        case window:
            return "AXWindow";

        case pushButton:
            return "AXButton";
        case pushButtonMenu:
            return "AXMenuButton";
        case checkBox:
        case switchButton:
        case toggleButton:
            return "AXCheckBox";
        case pageTab:
        case radioButton:
            return "AXRadioButton";
        case comboBox:
            return states.has(AtspiState::editable) ? "AXComboBox" : "AXPopUpButton";
        case autocomplete:
            return "AXComboBox";

        case entry:
        case text:
            return states.has(AtspiState::multiLine) ? "AXTextArea" : "AXTextField";
        case dateEditor:
        case editbar:
        case passwordText:
            return "AXTextField";
        case terminal:
            return "AXTextArea";

        case acceleratorLabel:
        case caption:
        case label:
        case staticText:
        case timer:
            return "AXStaticText";

        case menuBar:
            return "AXMenuBar";
        case menu:
        case popupMenu:
            return "AXMenu";
        case checkMenuItem:
        case menuItem:
        case radioMenuItem:
        case tearoffMenuItem:
            return "AXMenuItem";

        case descriptionList:
        case directoryPane:
        case list:
        case listBox:
            return "AXList";
        case table:
            return "AXTable";
        case tree:
        case treeTable:
            return "AXOutline";
        case tableRow:
        case treeItem:
            return "AXRow";
        case columnHeader:
        case rowHeader:
        case tableCell:
        case tableColumnHeader:
        case tableRowHeader:
            return "AXCell";

        case pageTabList:
            return "AXTabGroup";
        case toolBar:
            return "AXToolbar";
        case scrollBar:
            return "AXScrollBar";
        case scrollPane:
            return "AXScrollArea";
        case splitPane:
            return "AXSplitGroup";
        case separator:
            return "AXSplitter";
        case ruler:
            return "AXRuler";
        case toolTip:
            return "AXHelpTag";

        case dial:
        case slider:
            return "AXSlider";
        case spinButton:
            return "AXIncrementor";
        case levelBar:
        case rating:
            return "AXLevelIndicator";
        case animation:
        case progressBar:
            return "AXProgressIndicator";

        case chart:
        case desktopIcon:
        case icon:
        case image:
        case imageMap:
            return "AXImage";

        case link:
            return "AXLink";
        case heading:
            return "AXHeading";
        case documentEmail:
        case documentFrame:
        case documentPresentation:
        case documentSpreadsheet:
        case documentText:
        case documentWeb:
        case htmlContainer:
            return "AXWebArea";

        case arrow:
        case article:
        case audio:
        case blockQuote:
        case calendar:
        case canvas:
        case comment:
        case contentDeletion:
        case contentInsertion:
        case definition:
        case descriptionTerm:
        case descriptionValue:
        case drawingArea:
        case embedded:
        case filler:
        case focusTraversable:
        case footer:
        case footnote:
        case form:
        case glassPane:
        case grouping:
        case header:
        case infoBar:
        case landmark:
        case layeredPane:
        case listItem:
        case log:
        case mark:
        case marquee:
        case math:
        case mathFraction:
        case mathRoot:
        case notification:
        case optionPane:
        case page:
        case panel:
        case paragraph:
        case redundantObject:
        case rootPane:
        case section:
        case statusBar:
        case subscript:
        case suggestion:
        case superscript:
        case titleBar:
        case video:
        case viewport:
            return "AXGroup";

        case extended:
        case invalid:
        case unknown:
            break;
    }
    return "AXUnknown";
}

bool roleDependsOnStates(AtspiRole role) {
    return role == AtspiRole::comboBox || role == AtspiRole::entry || role == AtspiRole::text;
}

bool isTextBearing(AtspiRole role) {
    using enum AtspiRole;
    switch (role) {
        case acceleratorLabel:
        case autocomplete:
        case caption:
        case dateEditor:
        case editbar:
        case entry:
        case heading:
        case label:
        case paragraph:
        case staticText:
        case statusBar:
        case terminal:
        case text:
        case timer:
            return true;
        default:
            return false;
    }
}

}  // namespace varkel
