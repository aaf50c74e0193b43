#include "overlay/Wording.h"

#include <algorithm>
#include <utility>

#include "base/Graphemes.h"
#include "base/UnicodeText.h"
#include "overlay/DisplayText.h"

namespace varkel::overlay {

namespace {

constexpr std::size_t longestName = 40;
constexpr std::size_t mostNamedKeys = 3;
constexpr std::size_t longestKey = 30;

constexpr std::pair<std::string_view, std::string_view> nouns[] = {
    {"AXButton", "button"},
    {"AXCell", "cell"},
    {"AXCheckBox", "checkbox"},
    {"AXComboBox", "combo box"},
    {"AXDisclosureTriangle", "expander"},
    {"AXGroup", "group"},
    {"AXHeading", "heading"},
    {"AXImage", "picture"},
    {"AXLink", "link"},
    {"AXList", "list"},
    {"AXMenu", "menu"},
    {"AXMenuBarItem", "menu"},
    {"AXMenuButton", "menu button"},
    {"AXMenuItem", "menu item"},
    {"AXOutline", "tree"},
    {"AXPopUpButton", "pop-up button"},
    {"AXRadioButton", "radio button"},
    {"AXRow", "row"},
    {"AXScrollArea", "scroll area"},
    {"AXScrollBar", "scroll bar"},
    {"AXSlider", "slider"},
    {"AXStaticText", "text"},
    {"AXTable", "table"},
    {"AXTextArea", "text area"},
    {"AXTextField", "text field"},
    {"AXWebArea", "page"},
    {"AXWindow", "window"},
};

std::string_view nounOf(std::string_view role) {
    const auto* noun = std::ranges::find(nouns, role, &std::pair<std::string_view, std::string_view>::first);
    return noun != std::end(nouns) ? noun->second : "element";
}

std::string withArticle(std::string_view noun) {
    const bool hasVowel = std::string_view("aeiou").find(noun.front()) != std::string_view::npos;
    return (hasVowel ? "an " : "a ") + std::string(noun);
}

std::string counted(std::size_t count, std::string_view noun) {
    return std::to_string(count) + " " + std::string(noun) + (count == 1 ? "" : "s");
}

std::string characterCount(std::string_view text, bool shortened) {
    const std::string count = counted(graphemeClusters(text).size(), "character");
    return shortened ? "more than " + count : count;
}

/// " in Mail", or nothing when the application has no name.
std::string inApplication(const Target& target) {
    const std::string name = oneLine(target.application, longestName);
    return name.empty() ? std::string() : " in " + name;
}

std::string describeElement(const Target& target) {
    if (target.state != Target::State::found) return "an element";
    const std::string_view noun = nounOf(target.role);
    const std::string label = oneLine(target.label, 1);
    if (label.empty()) return withArticle(noun) + " without a name";
    return "the " + std::string(noun) + " " + inQuotes(target.label);
}

/// "ctrl+a" as "Ctrl+A".
std::string describeKey(std::string_view key) {
    std::string shown = oneLine(key, longestKey);
    bool starts = true;
    for (char& c : shown) {
        if (starts && c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
        starts = c == '+';
    }
    return shown.empty() ? std::string("an empty key") : shown;
}

std::string describeKeys(const std::vector<std::string>& keys, Wording& wording) {
    if (keys.size() > mostNamedKeys) {
        if (!wording.text.empty()) wording.text += "\n\n";
        for (const std::string& key : keys) wording.text += describeKey(key) + "\n";
        wording.textName = wording.textName.empty() ? "the keys" : "the text and the keys";
        return "press " + counted(keys.size(), "key");
    }
    std::string list;
    for (const std::string& key : keys) list += (list.empty() ? "" : ", ") + describeKey(key);
    return "press " + list;
}

/// A name in a script that is made of it could be more than a name.
bool mayBeScript(std::string_view name) {
    return name.size() > longestName || name.find_first_of("\"\\\r\n") != std::string_view::npos;
}

/// Where keys go: to the application that the caller names, or else to the one in front.
std::string keysGoTo(const AgentEvent& details, const Target& target, Wording& wording) {
    const auto& named = details.app_bundle_id ? details.app_bundle_id : details.app_name;
    if (!named) return inApplication(target);
    wording.notes.emplace_back("The application comes to the front first, and is started if need be.");
    if (mayBeScript(*named)) {
        wording.notes.emplace_back(
            "Its name is an unusual one, which a script is made of. It is shown below.");
        if (!wording.text.empty()) wording.text += "\n\n";
        wording.text += visible(*named);
        wording.textName = "the application's name and the text";
        wording.unfolded = true;
    }
    return " in " + oneLine(*named, longestName);
}

void noteLineBreaks(std::string_view text, Wording& wording) {
    if (text.find_first_of("\r\n") == std::string_view::npos) return;
    wording.notes.emplace_back("The text has line breaks: each may send or run what stands before it.");
}

void showText(std::string_view text, std::string_view name, Wording& wording) {
    wording.text = visible(text);
    wording.textName = name;
}

std::string capitalised(std::string sentence) {
    if (!sentence.empty() && sentence[0] >= 'a' && sentence[0] <= 'z') {
        sentence[0] = static_cast<char>(sentence[0] - 'a' + 'A');
    }
    return sentence;
}

std::string describeTyping(const AgentEvent& details, const Target& target, Wording& wording) {
    const std::string text = details.text.value_or("");
    const bool shortened = details.shortened.value_or(false);
    const bool isNamed = target.state == Target::State::found && !oneLine(target.label, 1).empty();
    const std::string where = isNamed ? inQuotes(target.label) : describeElement(target);
    if (text.empty()) return "Type an empty text into " + where + inApplication(target);
    showText(text, "the text", wording);
    noteLineBreaks(text, wording);
    return "Type " + characterCount(text, shortened) + " into " + where + inApplication(target);
}

std::string describeKeystrokes(const AgentEvent& details, const Target& target, Wording& wording) {
    const std::string text = details.text.value_or("");
    std::string what;
    if (!text.empty()) {
        what = "type " + characterCount(text, details.shortened.value_or(false)) + " with the keyboard";
        showText(text, "the text", wording);
        noteLineBreaks(text, wording);
    }
    if (details.keys && !details.keys->empty()) {
        what += (what.empty() ? "" : " and ") + describeKeys(*details.keys, wording);
    }
    const std::string where = keysGoTo(details, target, wording);
    return capitalised(what.empty() ? "press no keys" + where : what + where);
}

std::string describeScroll(const AgentEvent& details, const Target& target) {
    constexpr std::string_view directions[] = {"up", "down", "left", "right"};
    const std::string direction = lowerCased(details.direction.value_or(""));
    const bool isKnown = std::ranges::find(directions, direction) != std::end(directions);
    return "Scroll " + (isKnown ? direction + " " : std::string()) + "in " + describeElement(target) +
           inApplication(target);
}

std::string describeShortcut(const Action& action, Wording& wording) {
    std::string sentence = "Run the Shortcut " + inQuotes(action.target);
    if (mayBeScript(action.target)) {
        showText(action.target, "the whole name", wording);
        wording.unfolded = true;
    }
    if (!action.details || action.details->input.value_or("").empty()) return sentence;
    const std::string& input = *action.details->input;
    if (!wording.text.empty()) wording.text += "\n\n";
    wording.text += visible(input);
    wording.textName = wording.textName.empty() ? "the input" : "the whole name and the input";
    return sentence + " with " + characterCount(input, action.details->shortened.value_or(false)) +
           " of input";
}

std::string describeScript(const AgentEvent& details, Wording& wording) {
    showText(details.script.value_or(""), "the script", wording);
    wording.unfolded = true;
    return "Run an AppleScript";
}

std::string sentenceOf(const Action& action, const Target& target, Wording& wording) {
    static const AgentEvent none;
    const AgentEvent& details = action.details ? *action.details : none;
    const bool isKnown = action.details && !details.malformed.value_or(false);
    if (action.kind == "click") return "Click " + describeElement(target) + inApplication(target);
    if (action.kind == "scroll") return describeScroll(details, target);
    if (action.kind == "run_shortcut") return describeShortcut(action, wording);
    if (action.kind == "type") {
        if (!isKnown) return "Type into " + describeElement(target) + inApplication(target);
        return describeTyping(details, target, wording);
    }
    if (action.kind == "send_keystrokes") {
        if (!isKnown) return "Send keys" + inApplication(target);
        return describeKeystrokes(details, target, wording);
    }
    if (action.kind == "run_applescript") {
        return isKnown ? describeScript(details, wording) : std::string("Run an AppleScript");
    }
    return "Do something that is not known here: " + inQuotes(action.kind);
}

/// Why the target cannot be named; empty when it can.
std::string_view whyUnnamed(const Target& target) {
    switch (target.state) {
        case Target::State::noToken:
            return "What it acts upon cannot be named: there is no token here that the agent accepts.";
        case Target::State::noAnswer:
            return "What it acts upon cannot be named: the agent or the application does not answer.";
        case Target::State::gone:
            return "The element is no longer there, or the application in front is another one by now.";
        case Target::State::none:
        case Target::State::found:
            break;
    }
    return {};
}

bool hasPlainModifiers(std::string_view key) {
    const std::string lower = lowerCased(key);
    std::string_view rest = lower;
    while (true) {
        const std::size_t plus = rest.find('+');
        // What stands last is the key itself, also when that is a plus.
        if (plus == std::string_view::npos || plus + 1 >= rest.size()) return true;
        const std::string_view modifier = rest.substr(0, plus);
        if (modifier != "ctrl" && modifier != "control" && modifier != "shift") return false;
        rest.remove_prefix(plus + 1);
    }
}

}  // namespace

Wording describe(const Action& action, const Target& target) {
    Wording wording;
    wording.sentence = sentenceOf(action, target, wording);
    if (const auto why = whyUnnamed(target); !why.empty()) wording.notes.emplace_back(why);
    const bool hasElement = target.state == Target::State::found && !target.role.empty();
    if (hasElement && !target.frame) wording.notes.emplace_back("It cannot be seen on the screen now.");
    if (!action.details) {
        wording.notes.emplace_back("The agent does not say more: it is an older one, or was busy.");
    } else if (action.details->malformed.value_or(false)) {
        wording.notes.emplace_back("The request cannot be read, so the agent will turn it down.");
    } else if (action.details->shortened.value_or(false)) {
        wording.notes.emplace_back("It is too long to be shown: the end of it cannot be seen here.");
    }
    return wording;
}

bool isCoveredByGrants(const Action& action, const Target& target) {
    if (target.state != Target::State::found || target.applicationId.empty() || !action.details) return false;
    const AgentEvent& details = *action.details;
    if (action.kind == "click" || action.kind == "type" || action.kind == "scroll") return true;
    if (action.kind != "send_keystrokes" || details.malformed || details.shortened) return false;
    if (details.app_bundle_id || details.app_name) return false;
    return !details.keys || std::ranges::all_of(*details.keys, hasPlainModifiers);
}

}  // namespace varkel::overlay
