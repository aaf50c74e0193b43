#pragma once

#include <cstdio>
#include <cstdlib>

namespace varkel::fuzzing {

/// Ends the process as a crash does when a property does not hold, so that the input is kept.
inline void require(bool holds, const char* property) {
    if (holds) return;
    std::fprintf(stderr, "Does not hold: %s\n", property);
    std::abort();
}

}  // namespace varkel::fuzzing
