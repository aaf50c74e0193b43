#pragma once

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace varkel::fuzzing {

/// Ends the process as a crash does when a property does not hold, so that the input is kept.
inline void require(bool holds, const char* property) {
    if (holds) return;
    std::fprintf(stderr, "Does not hold: %s\n", property);
    std::abort();
}

/// What a target does with one input; each target has its own.
void check(std::string_view input);

}  // namespace varkel::fuzzing

extern "C" [[gnu::used]] inline int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    varkel::fuzzing::check({reinterpret_cast<const char*>(data), size});
    return 0;
}
