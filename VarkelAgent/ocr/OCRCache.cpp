#include "ocr/OCRCache.h"

#include <boost/container_hash/hash.hpp>
#include <utility>

#include "base/Digest.h"
#include "base/Environment.h"
#include "base/ParseInteger.h"
#include "platform/Platform.h"

namespace varkel {

std::string sha256HashData(std::string_view bytes) {
    return hexDigest(bytes);
}

std::int64_t ocrCacheCapacity(const std::optional<std::string>& value) {
    constexpr std::int64_t usual = 50;
    if (!value) return usual;
    const auto capacity = parseInteger<std::int64_t>(*value);
    return capacity && *capacity >= 1 ? *capacity : usual;
}

OCRCache& OCRCache::shared() {
    // Never destroyed: requests may outlive static objects at exit.
    static OCRCache& cache = *new OCRCache([] {
        const auto found = environment().find("QUELLAN_VARKEL_OCR_CACHE_SIZE");
        return ocrCacheCapacity(found == environment().end() ? std::nullopt : std::optional(found->second));
    }());
    return cache;
}

std::size_t OCRCache::KeyHash::operator()(const Key& key) const {
    std::size_t seed = 0;
    boost::hash_combine(seed, key.pid);
    boost::hash_combine(seed, key.windowId);
    boost::hash_combine(seed, key.frameHash);
    boost::hash_combine(seed, key.timeBucket);
    return seed;
}

void OCRCache::evictOnFrontmostChange() {
    const std::optional<pid_t> current = frontmostApplicationPid();
    const std::scoped_lock lock(mutex_);
    if (lastFrontmostPid_ && lastFrontmostPid_ != current) {
        cache_.clear();
        order_.clear();
    }
    lastFrontmostPid_ = current;
}

std::optional<std::vector<OCRResult>> OCRCache::get(std::int32_t pid, std::uint64_t windowId,
                                                    std::string_view frameHash, std::int64_t timeBucket) {
    const Key key{pid, windowId, std::string(frameHash), timeBucket};
    const std::scoped_lock lock(mutex_);
    const auto found = cache_.find(key);
    if (found == cache_.end()) {
        return std::nullopt;
    }
    order_.splice(order_.end(), order_, found->second.place);
    return found->second.results;
}

void OCRCache::set(std::int32_t pid, std::uint64_t windowId, std::string_view frameHash,
                   std::int64_t timeBucket, std::vector<OCRResult> results) {
    Key key{pid, windowId, std::string(frameHash), timeBucket};
    const std::scoped_lock lock(mutex_);
    if (const auto found = cache_.find(key); found != cache_.end()) {
        found->second.results = std::move(results);
        order_.splice(order_.end(), order_, found->second.place);
        return;
    }
    if (std::cmp_greater_equal(cache_.size(), capacity_)) {
        cache_.erase(order_.front());
        order_.pop_front();
    }
    order_.push_back(key);
    cache_.emplace(std::move(key), Entry{std::move(results), std::prev(order_.end())});
}

std::size_t OCRCache::size() const {
    const std::scoped_lock lock(mutex_);
    return cache_.size();
}

}  // namespace varkel
