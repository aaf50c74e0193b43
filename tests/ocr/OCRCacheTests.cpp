#include <gtest/gtest.h>

#include "ocr/OCRCache.h"

namespace varkel {
namespace {

std::vector<OCRResult> lines(const std::string& text) {
    return {{text, 0.5F, std::nullopt}};
}

bool holds(OCRCache& cache, const std::string& hash) {
    return cache.get(1, 2, hash, 3).has_value();
}

TEST(OCRCache, CapacityComesFromADecimalNumberOfAtLeastOne) {
    EXPECT_EQ(ocrCacheCapacity(std::nullopt), 50);
    for (const char* none :
         {"", "abc", "0", "-5", "12x", " 7", "7 ", "+", "+-7", "++7", "0x9", "1.0", "9223372036854775808"})
        EXPECT_EQ(ocrCacheCapacity(none), 50) << none;
    for (const auto& [value, capacity] :
         {std::pair{"+7", 7L}, {"1", 1L}, {"007", 7L}, {"9223372036854775807", INT64_MAX}})
        EXPECT_EQ(ocrCacheCapacity(value), capacity) << value;
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

TEST(OCRCache, EveryPartOfTheKeyCounts) {
    OCRCache cache(9);
    cache.set(1, 2, "a", 3, lines("a"));
    EXPECT_FALSE(cache.get(0, 2, "a", 3));
    EXPECT_FALSE(cache.get(1, 0, "a", 3));
    EXPECT_FALSE(cache.get(1, 2, "b", 3));
    EXPECT_FALSE(cache.get(1, 2, "a", 4));
    EXPECT_TRUE(cache.get(1, 2, "a", 3));
}

}  // namespace
}  // namespace varkel
