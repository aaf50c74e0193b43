#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/Accessibility.h"
#include "platform/linux/atspi/AtspiRoles.h"

namespace varkel {

/// The pieces of an accessible object that are read one call each.
enum class AtspiPart : std::uint8_t { name, accessibleId, childCount, role, states, extents, text, children };
inline constexpr std::size_t atspiPartCount = 8;

/// Interfaces that tell which calls are worth making.
struct AtspiInterfaces {
    bool known = false;
    bool component = false;
    bool text = false;
};

/// An element's rectangle as the application states it.
struct AtspiExtents {
    std::int32_t x = 0;
    std::int32_t y = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;
    friend bool operator==(const AtspiExtents&, const AtspiExtents&) = default;
};

/// What is known of one accessible object in one session.
struct AtspiNode {
    enum class Progress : std::uint8_t { unasked, asked, known, missing };

    std::uint32_t peer = 0;
    std::string path;

    std::string name;
    std::string accessibleId;
    std::int32_t childCount = 0;
    AtspiRole role = AtspiRole::invalid;
    AtspiStates states;
    AtspiExtents extents;
    std::string text;
    /// Indices of nodes of the same session.
    std::vector<std::uint32_t> children;

    /// The node that first listed this one as a child, in this session.
    std::optional<std::uint32_t> parent;

    AtspiInterfaces interfaces;
    /// Levels below where the last prefetch that came by began, and its number.
    std::uint32_t depth = 0;
    std::uint32_t prefetch = 0;

    bool isUnasked(AtspiPart part) const { return progressOf(part) == Progress::unasked; }
    bool isPending(AtspiPart part) const { return progressOf(part) < Progress::known; }
    bool isKnown(AtspiPart part) const { return progressOf(part) == Progress::known; }
    void markAsked(AtspiPart part) { progress_[index(part)] = Progress::asked; }
    void markKnown(AtspiPart part) { progress_[index(part)] = Progress::known; }

    void markMissing(AtspiPart part, AXError reason) {
        progress_[index(part)] = Progress::missing;
        reason_[index(part)] = reason;
    }

    void forget(AtspiPart part) { progress_[index(part)] = Progress::unasked; }
    void forgetAll() { progress_ = {}; }

    /// Why a part is missing.
    AXError reason(AtspiPart part) const { return reason_[index(part)]; }

  private:
    static std::size_t index(AtspiPart part) { return static_cast<std::size_t>(part); }
    Progress progressOf(AtspiPart part) const { return progress_[index(part)]; }

    std::array<Progress, atspiPartCount> progress_{};
    std::array<AXError, atspiPartCount> reason_{};
};

}  // namespace varkel
