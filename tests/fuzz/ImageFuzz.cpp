// Images: an image is refused by the size that it claims before memory is taken for it, and decoding
// prints nothing.

#include <sanitizer/common_interface_defs.h>
#include <sys/mman.h>
#include <unistd.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/Property.h"
#include "platform/linux/vision/ImageDecoder.h"

namespace varkel::fuzzing {
namespace {

/// Small, so that the largest images let through are decoded quickly, and a decoder that takes memory for
/// larger ones is seen by the bound on allocations that tools/fuzz sets.
constexpr long long mostPixels = 1LL << 20;

/// Takes what the decoders print, as long as it lives.
class Printed {
  public:
    Printed() {
        ::ftruncate(file(), 0);
        ::dup2(file(), STDERR_FILENO);
    }
    Printed(const Printed&) = delete;
    Printed& operator=(const Printed&) = delete;
    ~Printed() { ::dup2(terminal(), STDERR_FILENO); }

    /// The beginning of what was printed.
    std::string text() const {
        std::array<char, 256> start{};
        const ssize_t size = ::pread(file(), start.data(), start.size(), 0);
        return size > 0 ? std::string(start.data(), static_cast<std::size_t>(size)) : std::string();
    }

    static void prepare() {
        // What the sanitizers report is not part of it.
        __sanitizer_set_report_fd(std::bit_cast<void*>(std::intptr_t{terminal()}));
        file();
    }

  private:
    static int terminal() {
        static const int copy = ::dup(STDERR_FILENO);
        return copy;
    }
    static int file() {
        static const int made = ::memfd_create("printed", MFD_CLOEXEC);
        return made;
    }
};

}  // namespace

void check(std::string_view input) {
    std::shared_ptr<const PixelPlanes> planes;
    std::string noise;
    {
        const Printed printed;
        planes =
            decodeImage({reinterpret_cast<const unsigned char*>(input.data()), input.size()}, mostPixels);
        noise = printed.text();
    }
    require(noise.empty(), ("decoding prints nothing, but printed: " + noise).c_str());
    if (!planes) return;
    const long long pixels = static_cast<long long>(planes->width) * planes->height;
    require(planes->width > 0 && planes->height > 0 && pixels <= mostPixels, "an image is within the bound");
    for (const auto* plane : {&planes->red, &planes->green, &planes->blue}) {
        require(plane->size() == static_cast<std::size_t>(pixels), "an image's planes are as large as it is");
    }
}

}  // namespace varkel::fuzzing

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    varkel::fuzzing::Printed::prepare();
    return 0;
}
