#include <gtest/gtest.h>

#include "ocr/OCRCache.h"
#include "support/ScriptedDesktop.h"

namespace varkel {
namespace {

using test::ScriptedDesktop;

std::vector<OCRResult> lines(const std::string& text) {
    return {{text, 0.5F, std::nullopt}};
}

bool holds(OCRCache& cache, const std::string& hash) {
    return cache.get(1, 2, hash, 3).has_value();
}

TEST(OCRCache, CapacityComesFromADecimalNumberOfAtLeastOne) {
    const std::pair<std::optional<std::string>, std::int64_t> cases[] = {
        {std::nullopt, 50},
        {"", 50},
        {"abc", 50},
        {"0", 50},
        {"-5", 50},
        {"12x", 50},
        {" 7", 50},
        {"7 ", 50},
        {"+", 50},
        {"+-7", 50},
        {"++7", 50},
        {"0x9", 50},
        {"+7", 7},
        {"1", 1},
        {"007", 7},
        {"9223372036854775807", 9223372036854775807},
        {"9223372036854775808", 50},
        {"1.0", 50},
    };
    for (const auto& [value, capacity] : cases)
        EXPECT_EQ(ocrCacheCapacity(value), capacity) << value.value_or("absent");
}

TEST(OCRCache, ForgetsTheLeastRecentlyUsedFirst) {
    OCRCache cache(2);
    cache.set(1, 2, "a", 3, lines("a"));
    cache.set(1, 2, "b", 3, lines("b"));
    EXPECT_TRUE(holds(cache, "a"));
    cache.set(1, 2, "c", 3, lines("c"));
    EXPECT_FALSE(holds(cache, "b"));
    EXPECT_TRUE(holds(cache, "a"));
    EXPECT_TRUE(holds(cache, "c"));
}

TEST(OCRCache, StoringAKnownKeyReplacesItRefreshesItAndEvictsNothing) {
    OCRCache cache(2);
    cache.set(1, 2, "a", 3, lines("old"));
    cache.set(1, 2, "b", 3, lines("b"));
    cache.set(1, 2, "a", 3, lines("new"));
    EXPECT_EQ(cache.size(), 2U);
    cache.set(1, 2, "c", 3, {});
    EXPECT_EQ(cache.get(1, 2, "a", 3), lines("new"));
    EXPECT_FALSE(holds(cache, "b"));
    EXPECT_EQ(cache.get(1, 2, "c", 3), std::vector<OCRResult>());
}

TEST(OCRCache, WithRoomForOneTheSecondKeyEvictsTheFirst) {
    OCRCache cache(1);
    cache.set(1, 2, "a", 3, lines("a"));
    cache.set(1, 2, "b", 3, lines("b"));
    EXPECT_FALSE(holds(cache, "a"));
    EXPECT_TRUE(holds(cache, "b"));
}

TEST(OCRCache, EveryPartOfTheKeyCounts) {
    OCRCache cache(9);
    cache.set(1, 2, "a", 3, lines("a"));
    EXPECT_FALSE(cache.get(0, 2, "a", 3));
    EXPECT_FALSE(cache.get(1, 0, "a", 3));
    EXPECT_FALSE(cache.get(1, 2, "b", 3));
    EXPECT_FALSE(cache.get(1, 2, "a", 4));
    EXPECT_EQ(cache.missCount(), 4U);
    EXPECT_TRUE(cache.get(1, 2, "a", 3));
    EXPECT_EQ(cache.hitCount(), 1U);
}

TEST(OCRCache, EmptiesItselfWhenAnotherApplicationOrNoneComesToTheFront) {
    struct Step {
        std::optional<pid_t> frontmost;
        bool kept;
    };
    // Each step stores first, then the frontmost application is asked for.
    const Step steps[] = {{100, true},           {100, true}, {200, false},
                          {std::nullopt, false}, {300, true}, {300, true}};
    ScriptedDesktop desktop;
    OCRCache cache(5);
    for (const Step& step : steps) {
        cache.set(1, 2, "a", 3, lines("a"));
        desktop.frontmost = step.frontmost;
        cache.evictOnFrontmostChange();
        EXPECT_EQ(holds(cache, "a"), step.kept) << step.frontmost.value_or(0);
    }
}

TEST(OCRCache, HashesToTheWellKnownDigests) {
    EXPECT_EQ(sha256HashData(""), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(sha256HashData("abc"), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

}  // namespace
}  // namespace varkel
