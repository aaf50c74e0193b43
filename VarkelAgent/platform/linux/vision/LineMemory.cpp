#include "platform/linux/vision/LineMemory.h"

#include <openssl/evp.h>

#include <array>
#include <stdexcept>
#include <vector>

namespace varkel {

std::string LineMemory::keyOf(const LinePlane& line) {
    std::vector<unsigned char> bytes;
    bytes.reserve(line.darkness.size() + 3 * sizeof(int));
    for (const int number : {line.width, line.height, line.baseline}) {
        for (unsigned shift = 0; shift < 32; shift += 8) {
            bytes.push_back(static_cast<unsigned char>(static_cast<unsigned>(number) >> shift));
        }
    }
    for (const float darkness : line.darkness) bytes.push_back(static_cast<unsigned char>(darkness));
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned length = 0;
    if (EVP_Digest(bytes.data(), bytes.size(), digest.data(), &length, EVP_sha256(), nullptr) != 1) {
        throw std::runtime_error("SHA-256 is not available");
    }
    return {digest.begin(), digest.begin() + length};
}

std::optional<LineReading> LineMemory::find(const std::string& key) {
    const std::scoped_lock lock(mutex_);
    const auto found = index_.find(key);
    if (found == index_.end()) return std::nullopt;
    entries_.splice(entries_.begin(), entries_, found->second);
    return found->second->reading;
}

void LineMemory::remember(const std::string& key, const LineReading& reading) {
    const std::scoped_lock lock(mutex_);
    if (index_.contains(key)) return;
    entries_.push_front({key, reading});
    index_[key] = entries_.begin();
    if (entries_.size() <= capacity_) return;
    index_.erase(entries_.back().key);
    entries_.pop_back();
}

}  // namespace varkel
