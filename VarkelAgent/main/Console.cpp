#include "main/Console.h"

#include <cstdio>

namespace varkel {

void print(const std::string& text) {
    std::fputs(text.c_str(), stdout);
    std::fflush(stdout);
}

}  // namespace varkel
