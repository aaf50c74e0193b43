#include "platform/linux/atspi/AtspiWire.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace varkel {

std::optional<AtspiStates> readAtspiStates(sd_bus_message* message) {
    const void* data = nullptr;
    std::size_t size = 0;
    if (sd_bus_message_read_array(message, 'u', &data, &size) < 0) return std::nullopt;
    const std::span words(static_cast<const std::uint32_t*>(data), size / sizeof(std::uint32_t));
    std::uint64_t bits = 0;
    if (!words.empty()) bits = words[0];
    if (words.size() > 1) bits |= std::uint64_t{words[1]} << 32;
    return AtspiStates(bits);
}

}  // namespace varkel
