// The one symbol by which the agent finds this module.
#include "platform/linux/vision/VisionModule.h"

#include "platform/linux/vision/LinuxVision.h"

extern "C" __attribute__((visibility("default"))) varkel::Vision* varkelMakeVision(int version) {
    return version == varkel::visionModuleVersion ? new varkel::LinuxVision : nullptr;
}
