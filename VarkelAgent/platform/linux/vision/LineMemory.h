#pragma once

#include <cstddef>
#include <list>
#include <mutex>
#include <optional>
#include <string>
#include <unordered_map>

#include "platform/linux/vision/LinePlane.h"
#include "platform/linux/vision/LineRecogniser.h"

namespace varkel {

/// Remembers what lines were read as, by their pixels: screens repeat labels, and the next screenshot repeats
/// most of the last. Holds the most recently used. Any thread.
class LineMemory {
  public:
    /// A capacity of 0 remembers nothing.
    explicit LineMemory(std::size_t capacity) : capacity_(capacity) {}

    /// A digest of everything that a reading depends on.
    static std::string keyOf(const LinePlane& line);

    std::optional<LineReading> find(const std::string& key);
    void remember(const std::string& key, const LineReading& reading);

  private:
    struct Entry {
        std::string key;
        LineReading reading;
    };

    const std::size_t capacity_;
    std::mutex mutex_;
    /// Most recently used first.
    std::list<Entry> entries_;
    std::unordered_map<std::string, std::list<Entry>::iterator> index_;
};

}  // namespace varkel
