#pragma once

#include "platform/Vision.h"

namespace varkel {

/// Grows with every change of Vision.h, so that an agent never talks to another build's module.
inline constexpr int visionModuleVersion = 1;

/// The module's entry: a new backend that the caller owns, or null for another version. Named
/// varkelMakeVision.
using MakeVision = Vision*(int version);

inline constexpr const char* visionModuleFile = "libvarkel_vision.so";
inline constexpr const char* visionModuleEntry = "varkelMakeVision";

}  // namespace varkel
