#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <list>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "ocr/OCRResult.h"

namespace varkel {

/// 64 lower-case hexadecimal digits: the SHA-256 digest of the bytes. Any thread.
std::string sha256HashData(std::string_view bytes);

/// The most entries that the cache holds, from the value of its environment variable: a decimal integer of at
/// least 1, otherwise 50.
std::int64_t ocrCacheCapacity(const std::optional<std::string>& value);

/// Remembers what images were read as, for repeats within the same tenth of a second. Bounded; forgets the
/// least recently used first, and everything when the frontmost application changes. Any thread.
class OCRCache {
  public:
    /// What a recognition is remembered under.
    struct Key {
        std::int32_t pid = 0;
        std::uint64_t windowId = 0;
        /// sha256HashData() of the image's bytes.
        std::string frameHash;
        /// Tenths of a second since 1970.
        std::int64_t timeBucket = 0;
        friend bool operator==(const Key&, const Key&) = default;
    };

    /// The cache of the process; its capacity is read from "QUELLAN_VARKEL_OCR_CACHE_SIZE" on first use.
    static OCRCache& shared();

    /// `capacity` is at least 1.
    explicit OCRCache(std::int64_t capacity) : capacity_(capacity) {}
    OCRCache(const OCRCache&) = delete;
    OCRCache& operator=(const OCRCache&) = delete;

    /// Forgets everything when another application is in front than at the last call, or none. Asks the
    /// desktop.
    void evictOnFrontmostChange();

    std::optional<std::vector<OCRResult>> get(std::int32_t pid, std::uint64_t windowId,
                                              std::string_view frameHash, std::int64_t timeBucket);

    void set(std::int32_t pid, std::uint64_t windowId, std::string_view frameHash, std::int64_t timeBucket,
             std::vector<OCRResult> results);

    std::int64_t capacity() const { return capacity_; }
    std::size_t size() const;

  private:
    struct KeyHash {
        std::size_t operator()(const Key& key) const;
    };
    struct Entry {
        std::vector<OCRResult> results;
        std::list<Key>::iterator place;
    };

    const std::int64_t capacity_;
    mutable std::mutex mutex_;
    std::unordered_map<Key, Entry, KeyHash> cache_;
    /// Least recently used first.
    std::list<Key> order_;
    std::optional<pid_t> lastFrontmostPid_;
};

}  // namespace varkel
