// Loaded ahead of the C library: what a process takes for the time of day is off by as many seconds as the
// file says that $VARKEL_CLOCK_FILE names, eight bytes that a test changes while the process runs. Steady
// clocks stay right.

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>

namespace {

using Seconds = std::atomic<std::int64_t>;

const Seconds* mapFile() {
    const char* path = std::getenv("VARKEL_CLOCK_FILE");
    const int file = path == nullptr ? -1 : open(path, O_RDONLY | O_CLOEXEC);
    if (file < 0) return nullptr;
    void* memory = mmap(nullptr, sizeof(Seconds), PROT_READ, MAP_SHARED, file, 0);
    close(file);
    return memory == MAP_FAILED ? nullptr : static_cast<const Seconds*>(memory);
}

time_t offset() {
    static const Seconds* const seconds = mapFile();
    return seconds == nullptr ? 0 : static_cast<time_t>(seconds->load());
}

int readClock(clockid_t clock, timespec* time) {
    static const auto next =
        reinterpret_cast<int (*)(clockid_t, timespec*)>(dlsym(RTLD_NEXT, "clock_gettime"));
    return next(clock, time);
}

}  // namespace

extern "C" {

int clock_gettime(clockid_t clock, timespec* time) noexcept {
    const int result = readClock(clock, time);
    if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)) time->tv_sec += offset();
    return result;
}

int gettimeofday(timeval* time, void*) noexcept {
    timespec now{};
    const int result = clock_gettime(CLOCK_REALTIME, &now);
    *time = {now.tv_sec, static_cast<suseconds_t>(now.tv_nsec / 1000)};
    return result;
}

time_t time(time_t* out) noexcept {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    if (out != nullptr) *out = now.tv_sec;
    return now.tv_sec;
}
}
