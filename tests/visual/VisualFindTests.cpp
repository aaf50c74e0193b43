#include <gtest/gtest.h>

#include <boost/json.hpp>

#include "support/RunTask.h"
#include "support/ScriptedDesktop.h"
#include "visual/VisualFind.h"

namespace varkel::test {
namespace {

constexpr ImageExtent extent{1000, 400};

std::vector<VisualFindResult> find(std::vector<VNRecognizedTextObservation> pieces,
                                   const std::string& query) {
    std::vector<VisualFindResult> results;
    appendTextMatches(results, std::move(pieces), query, extent);
    return results;
}

TEST(VisualFind, ScoresALineByHowMuchOfItTheQueryIs) {
    const std::tuple<const char*, const char*, std::optional<float>> cases[] = {
        {"save", "Save", 1.0F},
        {"Save as", "SAVE", 4.0F / 7.0F * 0.4F + 0.5F},
        {"Save", "Save as", std::nullopt},
        {"Save", "", std::nullopt},
        {"Save", " save", std::nullopt},
        {"A save", " save", 5.0F / 6.0F * 0.4F + 0.5F},
        // One with a combining accent, one composed; both count four characters.
        {"Caf\u00e9", "cafe\u0301", 1.0F},
        {"Caf\u00e9 bar", "CAFE\u0301", 4.0F / 8.0F * 0.4F + 0.5F},
        // A family is one character to its reader.
        {"x\U0001F468\u200D\U0001F469\u200D\U0001F467", "x", 1.0F / 2.0F * 0.4F + 0.5F},
        {"STRASSE", "stra\u00dfe", std::nullopt},
        {"\u0130x", "x", 1.0F / 2.0F * 0.4F + 0.5F},
    };
    for (const auto& [text, query, score] : cases) {
        const auto results = find({line(text, {0, 0, 0.1, 0.1})}, query);
        ASSERT_EQ(results.size(), score ? 1U : 0U) << text << " / " << query;
        if (!score) continue;
        EXPECT_EQ(results[0].matchScore, *score) << text << " / " << query;
        EXPECT_EQ(results[0].text, text);
        EXPECT_EQ(results[0].type, "text");
    }
}

TEST(VisualFind, JoinsPiecesThatStandSideBySide) {
    // The first piece reaches from 0.1 to 0.3, its bottom is at 0.5.
    const std::tuple<const char*, CGRect, bool> cases[] = {
        {"near", {0.32, 0.5, 0.1, 0.1}, true},
        {"just near enough", {0.3999, 0.5, 0.1, 0.1}, true},
        {"too far", {0.401, 0.5, 0.1, 0.1}, false},
        {"overlaps a little", {0.2501, 0.5, 0.1, 0.1}, true},
        {"overlaps much", {0.249, 0.5, 0.1, 0.1}, false},
        {"a little lower", {0.32, 0.4501, 0.1, 0.1}, true},
        {"a row lower", {0.32, 0.449, 0.1, 0.1}, false},
        {"a little higher", {0.32, 0.5499, 0.1, 0.1}, true},
        {"a row higher", {0.32, 0.551, 0.1, 0.1}, false},
    };
    for (const auto& [name, second, joined] : cases) {
        const auto results = find({line("a", {0.1, 0.5, 0.2, 0.1}, 0.9F), line("b", second, 0.6F)}, "a");
        ASSERT_EQ(results.size(), 1U) << name;
        EXPECT_EQ(results[0].text, joined ? "a b" : "a") << name;
        EXPECT_EQ(results[0].confidence, joined ? 0.6F : 0.9F) << name;
    }
}

TEST(VisualFind, AJoinedLineSpansItsPieces) {
    const auto results =
        find({line("two", {0.35, 0.52, 0.1, 0.05}), line("one", {0.1, 0.5, 0.2, 0.1})}, "one two");
    ASSERT_EQ(results.size(), 1U);
    const AXFrame& box = results[0].boundingBox;
    EXPECT_NEAR(box.x, 100, 1e-9);
    EXPECT_NEAR(box.y, 160, 1e-9);
    EXPECT_NEAR(box.width, 350, 1e-9);
    EXPECT_NEAR(box.height, 40, 1e-9);
}

TEST(VisualFind, ReadsRowsFromTheTopAndEachFromTheLeft) {
    std::vector<VNRecognizedTextObservation> pieces{
        line("d", {0.6, 0.1, 0, 0}), line("b", {0.5, 0.849, 0, 0}), line("c", {0.2, 0.051, 0, 0}),
        line("a", {0.1, 0.8, 0, 0}), line("e", {0.0, 0.0, 0, 0})};
    sortForReading(pieces);
    std::string order;
    for (const auto& piece : pieces) order += piece.candidates[0].string;
    EXPECT_EQ(order, "abcde");
}

TEST(VisualFind, SortsChainsOfRowsWithoutLosingAny) {
    // Each is in a row with its neighbours only: no order satisfies every pair.
    for (std::size_t count : {2U, 3U, 7U, 64U, 1000U}) {
        std::vector<VNRecognizedTextObservation> pieces;
        for (std::size_t i = 0; i < count; ++i) {
            const double turned = static_cast<double>((i * 7919) % count);
            pieces.push_back(line(std::to_string(i), {1.0 - turned * 0.001, turned * 0.04, 0, 0}));
        }
        sortForReading(pieces);
        std::set<std::string> seen;
        for (const auto& piece : pieces) seen.insert(piece.candidates.at(0).string);
        EXPECT_EQ(seen.size(), count);
    }
}

TEST(VisualFind, ScoresBarcodesByTheirPayloads) {
    const std::tuple<std::optional<std::string>, const char*, std::optional<float>> cases[] = {
        {"https://example.net/A1", "HTTPS://example.net/a1", 1.0F},
        {"https://example.net", "example", 0.8F},
        {"12345", "icon", 0.5F},
        {"12345", "Barcode", 0.5F},
        {"12345", "icons", std::nullopt},
        {"an icon", "icon", 0.8F},
        {"12345", "", std::nullopt},
        {"", "", 1.0F},
        {std::nullopt, "barcode", 1.0F},
        {std::nullopt, "code", 0.8F},
        {std::nullopt, "icon", 0.5F},
    };
    for (const auto& [payload, query, score] : cases) {
        std::vector<VisualFindResult> results;
        appendBarcodeMatches(results, {{{0.25, 0.5, 0.5, 0.25}, payload, 0.7F}}, query, extent);
        ASSERT_EQ(results.size(), score ? 1U : 0U) << query;
        if (!score) continue;
        EXPECT_EQ(results[0],
                  (VisualFindResult{payload.value_or("barcode"), 0.7F, {250, 100, 500, 100}, *score, "icon"}))
            << query;
    }
}

TEST(VisualFind, RanksTheBestFirstAndKeepsTheOrderOfEquals) {
    ScriptedDesktop desktop;
    desktop.text = {line("the icon", {0.1, 0.1, 0.1, 0.05}), line("icon", {0.1, 0.3, 0.1, 0.05}),
                    line("Icon", {0.1, 0.9, 0.1, 0.05})};
    desktop.barcodes = {{{0, 0, 0.1, 0.1}, "first", 1.0F},
                        {{0, 0, 0.1, 0.1}, "icon", 1.0F},
                        {{0, 0, 0.1, 0.1}, "last", 1.0F}};
    const HTTPResponse response = answerOf("/visual/find", R"({"imageBase64":"aW1n","query":"icon"})");
    ASSERT_EQ(response.status, 200);
    std::string order;
    const boost::json::value answer = boost::json::parse(*response.body);
    for (const auto& result : answer.at("results").as_array()) {
        order += std::string(result.at("text").as_string()) + "/" +
                 std::string(result.at("type").as_string()) + " ";
    }
    EXPECT_EQ(order, "Icon/text icon/text icon/icon the icon/text first/icon last/icon ");
}

}  // namespace
}  // namespace varkel::test
