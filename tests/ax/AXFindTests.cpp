#include <gmock/gmock.h>

#include <boost/json.hpp>

#include "ax/AXFind.h"
#include "ax/BatchManager.h"
#include "json/JSONDecoder.h"
#include "support/FakeDesktop.h"
#include "support/RunTask.h"

namespace varkel::test {
namespace {

using testing::IsEmpty;

AXElementInfo info(std::string id, std::string role, std::optional<std::string> label = {},
                   std::optional<std::string> value = {}, std::optional<std::string> identifier = {}) {
    return {std::move(id),
            std::move(role),
            std::move(label),
            std::move(value),
            std::move(identifier),
            {},
            {},
            {},
            {}};
}

/// window(a: "Save" group(b: button "Save as", c: field "123"), d: field "a123", e: button without anything)
AXElementInfo scene() {
    AXElementInfo group = info("a", "AXGroup", "Save");
    group.children = {info("b", "AXButton", "Save as", {}, "saveAs"), info("c", "AXTextField", {}, "123")};
    AXElementInfo window = info("w", "AXWindow", "Untitled");
    window.children = {group, info("d", "AXTextField", {}, "a123"), info("e", "AXButton")};
    return window;
}

std::vector<std::string> idsOf(const char* body, std::int64_t maxResults = 1000) {
    const auto query = decodeJSON<AXQuery>(body);
    ElementFilter filter(query);
    std::vector<AXElementInfo> matches;
    collectMatches(scene(), filter, maxResults, matches);
    std::vector<std::string> ids;
    std::ranges::transform(matches, std::back_inserter(ids), &AXElementInfo::id);
    return ids;
}

TEST(CollectMatches, TestsEveryFilterThatTheQueryGives) {
    const std::vector<std::pair<const char*, std::vector<std::string>>> cases = {
        {R"({})", {"w", "a", "b", "c", "d", "e"}},
        {R"({"role": "AXButton"})", {"b", "e"}},
        {R"({"role": "axbutton"})", {}},
        {R"({"label": "Sav"})", {"a", "b"}},
        {R"({"label": "save"})", {}},
        {R"({"label": ""})", {}},
        {R"({"identifier": "eA"})", {"b"}},
        {R"({"identifier": ""})", {}},
        {R"({"valueRegex": "^[0-9]+$"})", {"c"}},
        {R"({"valueRegex": "12"})", {"c", "d"}},
        {R"({"valueRegex": ""})", {"c", "d"}},
        {R"({"valueRegex": "("})", {}},
        {R"({"role": "AXGroup", "label": "Save"})", {"a"}},
        {R"({"label": "Save", "valueRegex": "."})", {}},
    };
    for (const auto& [query, ids] : cases) EXPECT_EQ(idsOf(query), ids) << query;
}

TEST(CollectMatches, GivesUpAPatternThatNeverEnds) {
    const auto query = decodeJSON<AXQuery>(R"({"valueRegex": "(a+)+$"})");
    ElementFilter filter(query);
    AXElementInfo list = info("list", "AXList");
    list.children.emplace();
    for (int i = 0; i < 200; ++i) {
        list.children->push_back(info("cell", "AXCell", {}, std::string(60, 'a') + "!"));
    }
    list.children->push_back(info("good", "AXCell", {}, "aaa"));
    std::vector<AXElementInfo> matches;
    EXPECT_FALSE(collectMatches(list, filter, 10, matches));
    EXPECT_THAT(matches, IsEmpty()) << "the values before it have used up the time of the search";
    EXPECT_TRUE(ElementFilter(query).matches(list.children->back()));
}

TEST(CollectMatches, FindsWhatTakesTheMatcherMillionsOfSteps) {
    // From each place of the first line the matcher looks through the rest of it.
    std::string value(3'000, 'x');
    value += "\nError 1";
    const auto query = decodeJSON<AXQuery>(R"({"valueRegex": ".*Error 1"})");
    EXPECT_TRUE(ElementFilter(query).matches(info("log", "AXTextArea", {}, value)));
}

TEST(AXFind, SearchesTheTreeOfTheBatchsApplicationAndAnswersWithSubtrees) {
    FakeDesktop desktop;
    desktop.addApplication(1, "Front");
    desktop.addApplication(2, "Pinned")->add("AXWindow", "Inside")->add("AXButton", "Inside too");
    desktop.frontmost = 1;
    BatchManager::shared().begin("find", 2);
    const auto query = decodeJSON<AXQuery>(R"({"label": "Inside", "batch_id": "find"})");
    const HTTPResponse found = runTask(axFind(query));
    BatchManager::shared().end("find");
    EXPECT_EQ(found.status, 200);
    EXPECT_THAT(*found.body, testing::StartsWith(R"({"matches":[{"id":)"));
    EXPECT_THAT(*found.body, testing::ContainsRegex("Inside.*Inside too.*Inside too"));

    const auto front = desktop.addApplication(1);
    for (int i = 0; i < 20; ++i) front->add("AXGroup");
    desktop.time += 2;
    const auto answer = boost::json::parse(*runTask(axFind({})).body);
    EXPECT_EQ(answer.at("matches").as_array().size(), 10u) << "when the query says nothing";
}

}  // namespace
}  // namespace varkel::test
