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
    for (const char* none : {"", "0", "-5", "12x", "9223372036854775808"})
        EXPECT_EQ(ocrCacheCapacity(none), 50) << none;
    EXPECT_EQ(ocrCacheCapacity("1"), 1);
    EXPECT_EQ(ocrCacheCapacity("+007"), 7);
    EXPECT_EQ(ocrCacheCapacity("9223372036854775807"), INT64_MAX);
}

TEST(OCRCache, ForgetsTheLeastRecentlyUsedFirst) {
    OCRCache cache(2);
    cache.set(1, 2, "a", 3, lines("old"));
    cache.set(1, 2, "b", 3, lines("b"));
    cache.set(1, 2, "a", 3, lines("a"));  // replaces it, makes it new, and evicts nothing
    EXPECT_EQ(cache.size(), 2U);
    cache.set(1, 2, "c", 3, {});
    EXPECT_FALSE(holds(cache, "b"));
    EXPECT_EQ(cache.get(1, 2, "a", 3), lines("a"));
    cache.set(1, 2, "d", 3, lines("d"));
    EXPECT_FALSE(holds(cache, "c"));
    EXPECT_TRUE(holds(cache, "a") && holds(cache, "d"));
    cache.set(1, 2, "e", 3, {});
    EXPECT_EQ(cache.get(1, 2, "e", 3), std::vector<OCRResult>());
}

}  // namespace
}  // namespace varkel
