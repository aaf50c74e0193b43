#include <gmock/gmock.h>

#include "json/JSONDecoder.h"
#include "overlay/DisplayText.h"
#include "overlay/Placement.h"
#include "overlay/Wording.h"

namespace varkel::overlay {
namespace {

using State = Target::State;
using testing::HasSubstr;

Action actionOf(const char* kind, const std::string& details, const std::string& target = "") {
    Action action{kind, target, std::nullopt};
    if (!details.empty()) action.details = decodeJSON<AgentEvent>(R"({"type":"",)" + details + "}");
    return action;
}

Target element(const char* role, const std::string& label, const std::string& application = "Mail") {
    return {State::found, application, "0123456789abcdef", role, label, AXFrame{1, 2, 3, 4}};
}

Target unknown(State state) {
    return {state, "", "", "", "", {}};
}

const std::string id = R"("elementId":"e")";

TEST(Wording, SaysWhatIsAboutToHappen) {
    const std::string text(34, 'x');
    const Target mail = element("", "");
    const struct {
        Action action;
        Target target;
        const char* sentence;
        const char* text = "";
    } cases[] = {
        {actionOf("click", id), element("AXButton", "Send"), R"(Click the button "Send" in Mail)"},
        {actionOf("click", id), element("AXButton", " \n"), "Click a button without a name in Mail"},
        {actionOf("click", id), element("AXImage", "", ""), "Click a picture without a name"},
        {actionOf("click", id), element("AXNew", "x"), R"(Click the element "x" in Mail)"},
        {actionOf("click", id), unknown(State::noToken), "Click an element"},
        {actionOf("type", id + R"(,"text":")" + text + '"'), element("AXTextField", "To:"),
         R"(Type 34 characters into "To:" in Mail)", text.c_str()},
        {actionOf("type", id + R"(,"text":"é","shortened":true)"), element("AXTextField", ""),
         "Type more than 1 character into a text field without a name in Mail", "é"},
        {actionOf("type", id + R"(,"text":"")"), element("AXTextField", "To:"),
         R"(Type an empty text into "To:" in Mail)"},
        {actionOf("type", ""), unknown(State::none), "Type into an element"},
        {actionOf("scroll", id + R"(,"direction":"Down")"), element("AXScrollArea", "Inbox"),
         R"(Scroll down in the scroll area "Inbox" in Mail)"},
        {actionOf("scroll", id + R"(,"direction":"\"x\"")"), element("AXRow", "Inbox"),
         R"(Scroll in the row "Inbox" in Mail)"},
        {actionOf("send_keystrokes", R"("keys":["ctrl+a","return"])"), mail, "Press Ctrl+A, Return in Mail"},
        {actionOf("send_keystrokes", R"("text":"12","keys":["tab"])"), mail,
         "Type 2 characters with the keyboard and press Tab in Mail", "12"},
        {actionOf("send_keystrokes", R"("keys":["a","b","c","d"],"app_name":"Notes")"), unknown(State::none),
         "Press 4 keys in Notes", "A\nB\nC\nD\n"},
        {actionOf("send_keystrokes", R"("app_name":"a\" & evil")"), unknown(State::none),
         "Press no keys in a' & evil", "a\" & evil"},
        {actionOf("send_keystrokes", R"("malformed":true)"), mail, "Send keys in Mail"},
        {actionOf("run_applescript", R"("script":"beep\nbeep")"), unknown(State::none), "Run an AppleScript",
         "beep\nbeep"},
        {actionOf("run_shortcut", R"("name":"Shout")", "Shout"), unknown(State::none),
         R"(Run the Shortcut "Shout")"},
        {actionOf("run_shortcut", R"("name":"Shout","input":"hello")", "Shout"), unknown(State::none),
         R"(Run the Shortcut "Shout" with 5 characters of input)", "hello"},
        {actionOf("erase", ""), unknown(State::none), R"(Do something that is not known here: "erase")"},
    };
    for (const auto& [action, target, sentence, shown] : cases) {
        const Wording wording = describe(action, target);
        EXPECT_EQ(wording.sentence, sentence);
        EXPECT_EQ(wording.text, shown) << sentence;
        EXPECT_EQ(wording.text.empty(), wording.textName.empty()) << sentence;
    }
}

TEST(Wording, SaysPlainlyWhatItDoesNotKnowAndWhatIsUnusual) {
    const std::tuple<Action, Target, const char*> cases[] = {
        {actionOf("click", id), Target{State::found, "Mail", "a", "AXButton", "Send", {}}, "cannot be seen"},
        {actionOf("click", id), unknown(State::noToken), "no token here"},
        {actionOf("click", id), unknown(State::noAnswer), "does not answer"},
        {actionOf("click", id), unknown(State::gone), "no longer there"},
        {actionOf("click", ""), unknown(State::none), "does not say more"},
        {actionOf("send_keystrokes", R"("malformed":true)"), element("", ""), "cannot be read"},
        {actionOf("type", id + R"(,"text":"x","shortened":true)"), element("AXCell", ""), "too long"},
        {actionOf("send_keystrokes", R"("text":"rm -r ~\n")"), element("", ""), "line breaks"},
        {actionOf("send_keystrokes", R"("keys":["a"],"app_name":"x\" of")"), unknown(State::none), "unusual"},
    };
    for (const auto& [action, target, note] : cases) {
        EXPECT_THAT(describe(action, target).notes, testing::Contains(HasSubstr(note))) << note;
    }
    EXPECT_THAT(describe(actionOf("click", id), element("AXButton", "Send")).notes, testing::IsEmpty());
}

TEST(Wording, ShowsTextsOfOthersAsData) {
    EXPECT_EQ(inQuotes("Send\" in Bank \"x"), "\"Send' in Bank 'x\"");
    EXPECT_EQ(inQuotes("<b>a</b> &amp;"), "\"<b>a</b> &amp;\"") << "shown as it is: labels are no markup";
    EXPECT_EQ(inQuotes("  two\n\tlines\u202E\u200B  "), "\"two lines\"");
    EXPECT_EQ(inQuotes("\xFF\xFEx"), "\"\uFFFD\uFFFDx\"");
    EXPECT_EQ(inQuotes(std::string(100'000, 'x'), 5), "\"xxxx…\"");
    EXPECT_EQ(visible("a\tb\n\u202Ec\x01\r"), "a\tb\n⟨202E⟩c⟨0001⟩⟨000D⟩");
    const std::string full(62, 'x');
    EXPECT_EQ(visible(full + "\n" + full + "yz\n"), full + "\n" + full + "\n↪ yz\n");
    EXPECT_EQ(visible("aa " + full), "aa \n↪ " + full) << "broken at a blank where there is one";
    EXPECT_EQ(visible(full.substr(1) + "漢"), full.substr(1) + "\n↪ 漢") << "two columns wide";
    EXPECT_EQ(visible(full.substr(2) + "漢"), full.substr(2) + "漢") << "no wider";
    std::string marks = "e";
    for (int i = 0; i < 6; ++i) marks += "\u0301";
    EXPECT_EQ(visible(marks), marks.substr(0, 9) + "⟨0301⟩⟨0301⟩") << "four marks at the most";
    EXPECT_EQ(inQuotes(marks), '"' + marks.substr(0, 9) + '"');
    const std::string hostile(100'000, '\n');
    const Wording wording = describe(actionOf("click", id), element("AXButton", hostile + "x", "M\u2066ail"));
    EXPECT_EQ(wording.sentence, R"(Click the button "x" in M ail)");
}

TEST(Wording, TellsWhatConsentForAnApplicationCovers) {
    const Target mail = element("AXButton", "Send");
    const std::tuple<Action, Target, bool> cases[] = {
        {actionOf("click", id), mail, true},
        {actionOf("type", id + R"(,"text":"x")"), mail, true},
        {actionOf("scroll", id), mail, true},
        {actionOf("click", id), unknown(State::gone), false},
        {actionOf("click", id), unknown(State::noToken), false},
        {actionOf("click", id), Target{State::found, "Mail", "", "", "", {}}, false},
        {actionOf("send_keystrokes", R"("text":"x","keys":["Ctrl+Shift+T","+","ctrl++","tab"])"), mail, true},
        {actionOf("send_keystrokes", R"("keys":["alt+tab"])"), mail, false},
        {actionOf("send_keystrokes", R"("keys":["a","shift+cmd+q"])"), mail, false},
        {actionOf("send_keystrokes", R"("keys":["a"],"app_name":"Terminal")"), mail, false},
        {actionOf("send_keystrokes", R"("keys":["a"],"shortened":true)"), mail, false},
        {actionOf("send_keystrokes", R"("malformed":true)"), mail, false},
        {actionOf("run_applescript", R"("script":"x")"), mail, false},
        {actionOf("run_shortcut", R"("name":"x")"), mail, false},
    };
    for (std::size_t at = 0; const auto& [action, target, covered] : cases) {
        EXPECT_EQ(isCoveredByGrants(action, target), covered) << at++ << " " << action.kind;
    }
}

TEST(Target, IsFoundInTheAgentsAnswer) {
    const std::string answer =
        R"({"matches":[{"id":"app","role":"AXApplication","label":"Mail","children":[
        {"id":"w","role":"AXWindow","children":[
            {"id":"b","role":"AXButton","frame":{"x":1,"y":2.5,"width":3,"height":4},
             "children":[{"id":"l","role":"AXStaticText","label":"Send"}]}]}]}]})";
    const Target button = findTarget(answer, "b");
    EXPECT_EQ(button.state, State::found);
    EXPECT_EQ(button.application + button.applicationId + button.role + button.label, "MailappAXButtonSend");
    EXPECT_EQ(button.frame, (AXFrame{1, 2.5, 3, 4}));
    const Target gone = findTarget(answer, "x");
    EXPECT_EQ(gone.state, State::gone);
    EXPECT_EQ(gone.application, "Mail");
    EXPECT_EQ(findTarget(answer, "").state, State::found);

    std::string deep = R"({"matches":[)";
    for (int i = 0; i < 1'500; ++i) deep += R"({"id":"x","children":[)";
    deep += R"({"id":"deep"})";
    for (int i = 0; i < 1'500; ++i) deep += "]}";
    EXPECT_EQ(findTarget(deep + "]}", "deep").state, State::found);
    const std::string endless(1'000'000, '[');
    for (const std::string& bad : {std::string(), std::string("[]"), std::string(R"({"matches":[]})"),
                                   std::string(R"({"matches":[3]})"), endless}) {
        EXPECT_EQ(findTarget(bad, "b").state, State::noAnswer) << bad.substr(0, 40);
    }
}

TEST(Placement, KeepsThePromptOffItsTargetAndTheFrameOnTheScreen) {
    const Box area{0, 20, 1000, 780};
    EXPECT_EQ(placePrompt(area, 300, 100, std::nullopt), (Box{676, 44, 300, 100}));
    EXPECT_EQ(placePrompt(area, 300, 100, Box{900, 50, 50, 20}), (Box{676, 676, 300, 100}));
    EXPECT_EQ(placePrompt(area, 300, 100, area), (Box{676, 44, 300, 100})) << "it must be somewhere";
    EXPECT_EQ(placePrompt(area, 3000, 100, std::nullopt).x, 0);

    const auto sides = frameAround({100, 200, 50, 20}, 1000, 800);
    EXPECT_EQ(sides.front(), (Box{96, 196, 58, 4}));
    EXPECT_TRUE(frameAround({-500, -500, 100, 100}, 1000, 800).empty());
    EXPECT_TRUE(frameAround({5, 5, 0, 10}, 1000, 800).empty());
    for (const Box& side : frameAround({-1'000'000, -1'000'000, 2'000'000, 2'000'000}, 1000, 800)) {
        EXPECT_TRUE(side.x >= 0 && side.y >= 0 && side.x + side.width <= 1000 && side.y + side.height <= 800);
    }
}

}  // namespace
}  // namespace varkel::overlay
