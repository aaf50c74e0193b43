// What a session makes of an application's answers, and what it asks for.

#include <gmock/gmock.h>
#include <unistd.h>

#include <mutex>

#include "platform/linux/atspi/AtspiActs.h"
#include "platform/linux/atspi/AtspiPrefetch.h"
#include "support/ScriptedBus.h"

namespace varkel {
namespace {

using testing::ElementsAre;
using testing::Not;

ScriptedReply unknownProperty() {
    return {ScriptedReply::Kind::error, "org.freedesktop.DBus.Error.UnknownProperty", {}, false};
}

/// An application of objects that are known by path, each with its children.
struct Objects {
    std::map<std::string, std::vector<std::string>> children;
    std::string toolkit = "gtk";
    /// Answers before the objects do.
    std::function<std::optional<ScriptedReply>(const ScriptedCall&)> first = nullptr;
};

class Reading : public testing::Test {
  protected:
    /// Reads the whole tree of `objects`, and gives the paths in order.
    std::vector<std::string> read(const Objects& objects) {
        ScriptedBus bus([&](const ScriptedCall& call) { return answer(objects, call); });
        AtspiBus atspi;
        AtspiSession session(atspi, ::getpid());
        constexpr std::array attributes{AXAttribute::role, AXAttribute::enabled, AXAttribute::position,
                                        AXAttribute::value};
        AtspiPrefetch(session).load(AtspiSession::rootNode, attributes, {1000, 1024, 250'000});
        std::vector<std::string> paths;
        list(session, AtspiSession::rootNode, paths);
        return paths;
    }

    /// "PATH MEMBER", or "PATH PROPERTY", for all calls that were made to the application.
    std::set<std::string> calls;

  private:
    ScriptedReply answer(const Objects& objects, const ScriptedCall& call) {
        if (auto own = ScriptedBus::ownAnswer(call, false)) return *own;
        const std::string property = call.body.substr(0, call.body.find_last_not_of('\0') + 1);
        const std::size_t start = property.find_last_of('\0') + 1;
        calls.insert(call.path + " " + (call.member == "Get" ? property.substr(start) : call.member));
        if (objects.first) {
            if (auto reply = objects.first(call)) return *std::move(reply);
        }
        const auto found = objects.children.find(call.path);
        if (call.member == "Get" && property.ends_with("ToolkitName")) {
            return ScriptedReply::textProperty(objects.toolkit);
        }
        if (found == objects.children.end()) return {};
        if (call.member == "GetRole") return ScriptedReply::number(39);
        if (call.member == "Get" && property.ends_with("ChildCount")) {
            return ScriptedReply::numberProperty(found->second.size());
        }
        if (call.member == "Get" && property.ends_with("Name")) return ScriptedReply::textProperty(call.path);
        if (call.member != "GetChildren") return unknownProperty();
        References list;
        for (const std::string& child : found->second) list.emplace_back(":1.7", child);
        return ScriptedReply::references(list);
    }

    static void list(AtspiSession& session, std::uint32_t index, std::vector<std::string>& paths) {
        paths.push_back(session.node(index).path);
        for (const std::uint32_t child : session.node(index).children) list(session, child, paths);
    }
};

/// One object in an application's own list.
struct Listed {
    std::string path;
    std::string parent;
    std::uint32_t childCount;
    std::uint32_t role = 39;
};

ScriptedReply cacheItems(const std::vector<Listed>& objects, bool listsChildren) {
    WireWriter body;
    const auto list = body.array(8);
    for (const Listed& object : objects) {
        body.align(8).reference(":1.7", object.path).reference(":1.7", "/application");
        body.reference(":1.7", object.parent);
        if (listsChildren) {
            const auto children = body.array(8);
            for (std::uint32_t i = 0; i < object.childCount; ++i) body.reference(":1.7", "/child");
            body.end(children);
        } else {
            body.u32(0).u32(object.childCount);
        }
        const auto interfaces = body.array(4);
        body.text("org.a11y.atspi.Component");
        body.end(interfaces);
        body.text(object.path).u32(object.role).text("").words({0, 0});
    }
    body.end(list);
    return ScriptedReply::answer(listsChildren ? "a((so)(so)(so)a(so)assusau)" : "a((so)(so)(so)iiassusau)",
                                 std::move(body));
}

const std::map<std::string, std::vector<std::string>> smallWindow{
    {"/application", {"/window"}}, {"/window", {"/box"}}, {"/box", {"/a", "/b"}}, {"/a", {}}, {"/b", {}}};

TEST_F(Reading, TakesFromTheApplicationsListWhatCanBeTrueAndAsksForTheRest) {
    // The list leaves the window out, says that the application has no children, and that the box has one.
    const std::vector<Listed> list{{"/application", "/application", 0, 75},
                                   {"/box", "/window", 1},
                                   {"/a", "/box", 0},
                                   {"/b", "/box", 0}};
    for (const bool listsChildren : {false, true}) {
        calls.clear();
        const auto paths = read({smallWindow, "GTK", [&](const ScriptedCall& call) {
                                     return call.member == "GetItems"
                                                ? std::optional(cacheItems(list, listsChildren))
                                                : std::nullopt;
                                 }});
        EXPECT_THAT(paths, ElementsAre("/application", "/window", "/box", "/a", "/b")) << listsChildren;
        EXPECT_FALSE(calls.contains("/a GetRole"));
        EXPECT_FALSE(calls.contains("/a GetChildren"));
        EXPECT_TRUE(calls.contains("/window GetRole"));
    }
}

TEST_F(Reading, AsksForNothingThatAToolkitDoesNotHaveOrDoesNotSurvive) {
    EXPECT_THAT(read({smallWindow, "Qt"}), ElementsAre("/application", "/window", "/box", "/a", "/b"));
    for (const std::string& call : calls) EXPECT_THAT(call, Not(testing::HasSubstr("GetAll")));
    // Only the application itself is asked whether there are identifiers.
    EXPECT_TRUE(calls.contains("/application AccessibleId"));
    EXPECT_FALSE(calls.contains("/a AccessibleId"));
    EXPECT_FALSE(calls.contains("/a GetChildren")) << "it has none";
    EXPECT_FALSE(calls.contains("/a GetText")) << "its role bears none";
}

TEST_F(Reading, HasABrowserBuildItsTreeAndWaitsForTheDocument) {
    bool isAwake = false;
    int looks = 0;
    Objects browser{{{"/application", {"/window"}},
                     {"/window", {"/view"}},
                     {"/view", {"/page"}},
                     {"/page", {"/a"}},
                     {"/a", {}}},
                    "Chromium"};
    browser.first = [&](const ScriptedCall& call) -> std::optional<ScriptedReply> {
        if (call.member == "GetAttributes" && call.path == "/window") {
            isAwake = true;
            return ScriptedReply::answer("a{ss}", std::move(WireWriter().u32(0).align(8)));
        }
        const bool isInWindow = call.path != "/application" && call.path != "/window";
        if (isInWindow && !isAwake) return ScriptedReply();
        if (call.path != "/page") return std::nullopt;
        if (call.member == "GetRole") return ScriptedReply::number(95);
        // The page comes from another process, a little later.
        if (call.isAbout("ChildCount") && ++looks < 4) return ScriptedReply::numberProperty(0);
        return std::nullopt;
    };
    EXPECT_THAT(read(browser), ElementsAre("/application", "/window", "/view", "/page", "/a"));
    calls.clear();
    EXPECT_THAT(read(browser), ElementsAre("/application", "/window", "/view", "/page", "/a"));
    EXPECT_FALSE(calls.contains("/window GetAttributes")) << "it is awake";
}

TEST_F(Reading, AsksAnApplicationAgainThatDidNotTellItsToolkitYet) {
    int asked = 0;
    ScriptedBus bus([&](const ScriptedCall& call) -> ScriptedReply {
        if (auto own = ScriptedBus::ownAnswer(call, false)) return *own;
        if (call.isAbout("ToolkitName") && ++asked > 1) return ScriptedReply::textProperty("Chromium");
        return unknownProperty();
    });
    AtspiBus atspi;
    const auto lease = atspi.lease(Deadline::in(callLimit));
    ASSERT_TRUE(lease);
    const AtspiApplication application{{":1.7", "/application"}, ::getpid()};
    for (const char* expected : {"", "Chromium", "Chromium"}) {
        const auto toolkit = atspi.toolkit(**lease, application, Deadline::in(callLimit));
        ASSERT_TRUE(toolkit);
        EXPECT_EQ(toolkit->name, expected);
    }
    EXPECT_EQ(asked, 2);
}

TEST_F(Reading, KnowsNoApplicationByTheNumberOfNoProcess) {
    ScriptedBus bus([&](const ScriptedCall& call) -> ScriptedReply {
        if (call.member == "GetConnectionUnixProcessID") return {};
        if (auto own = ScriptedBus::ownAnswer(call, false)) return *own;
        return call.member == "GetRole" ? ScriptedReply::number(75) : ScriptedReply();
    });
    AtspiBus atspi;
    for (const pid_t pid : {0, -1}) {
        EXPECT_FALSE(AtspiSession(atspi, pid).load(AtspiSession::rootNode, AtspiPart::role)) << pid;
    }
}

/// What is done with a text, and what comes of it.
struct FieldCase {
    const char* name;
    std::uint32_t role = 79;
    const char* toolkit = "gtk";
    /// Reads of the text after which it shows `shown`.
    int readsUntilShown = 0;
    const char* shown = "new";
    ScriptedReply reply = ScriptedReply::answer("b", WireWriter().u32(1));
    bool isEditable = true;
    AtspiAct expected = AtspiAct::done;
};

AtspiAct setText(const FieldCase& field) {
    bool wasSet = false;
    int reads = 0;
    ScriptedBus bus([&](const ScriptedCall& call) -> ScriptedReply {
        if (auto own = ScriptedBus::ownAnswer(call, false)) return *own;
        if (call.isAbout("ToolkitName")) return ScriptedReply::textProperty(field.toolkit);
        if (call.member == "GetRole") return ScriptedReply::number(field.role);
        if (call.member == "GetState")
            return ScriptedReply::answer("au", WireWriter().words({field.isEditable ? 1u << 7 : 0, 0}));
        if (call.member == "SetTextContents") {
            wasSet = true;
            return field.reply;
        }
        if (call.member != "GetText") return unknownProperty();
        if (field.role == 40) return ScriptedReply::text("\u25cf\u25cf");
        return ScriptedReply::text(wasSet && reads++ >= field.readsUntilShown ? field.shown : "old");
    });
    AtspiBus atspi;
    AtspiSession session(atspi, ::getpid());
    return AtspiActs(session).setText(AtspiSession::rootNode, "new");
}

TEST(SettingAText, CountsOnlyWhenItHasBeenSeenThere) {
    using enum AtspiAct;
    const ScriptedReply no = ScriptedReply::answer("b", WireWriter().u32(0));
    const FieldCase cases[] = {
        {.name = "taken"},
        {.name = "taken after a while", .readsUntilShown = 5},
        {.name = "cut to a maximum length", .shown = "ne"},
        {.name = "said to be taken", .shown = "old", .expected = refused},
        {.name = "a password", .role = 40},
        {.name = "a password not taken", .role = 40, .reply = no, .expected = refused},
        {.name = "not taken", .reply = no, .expected = refused},
        {.name = "without such an interface", .reply = {}, .expected = unsupported},
        {.name = "read-only", .isEditable = false, .expected = unsupported},
        {.name = "always said to be taken", .toolkit = "Gecko", .expected = unsupported},
        {.name = "not answered any more", .reply = ScriptedReply::endOfConnection(), .expected = unanswered},
    };
    for (const FieldCase& field : cases) EXPECT_EQ(setText(field), field.expected) << field.name;
}

}  // namespace
}  // namespace varkel
