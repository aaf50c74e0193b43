#include "platform/linux/process/ProcessActivity.h"

#include <time.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <system_error>
#include <thread>

namespace varkel {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::nanoseconds;

/// Longer than an application that starts waits for the disk or for a thread of its own.
constexpr std::chrono::milliseconds quietTime{50};
constexpr std::chrono::milliseconds idlePoll{5};
constexpr std::chrono::seconds startingTime{15};
constexpr std::chrono::milliseconds settlingPatience{2000};
/// A text cursor that fades in and out takes a twentieth of the time.
constexpr std::chrono::milliseconds idleUse = quietTime / 5;

struct TaskStatus {
    /// "R" for one that runs or could, "D" for one that waits for a disk.
    char state = 'Z';
    /// Since the system's start.
    std::chrono::duration<double> started{};
};

/// Of a process or one of its threads.
std::optional<TaskStatus> readStatus(const std::string& folder) {
    std::ifstream file(folder + "/stat");
    std::string line;
    std::getline(file, line);
    // The program's name comes in parentheses and may hold anything.
    const auto end = line.rfind(')');
    if (end == std::string::npos) return std::nullopt;
    std::istringstream fields(line.substr(end + 1));
    TaskStatus status;
    fields >> status.state;
    constexpr int fieldsBetween = 18;
    std::string skipped;
    for (int i = 0; i < fieldsBetween; ++i) fields >> skipped;
    std::uint64_t ticks = 0;
    if (!(fields >> ticks)) return std::nullopt;
    const auto perSecond = static_cast<double>(sysconf(_SC_CLK_TCK));
    status.started = std::chrono::duration<double>(static_cast<double>(ticks) / perSecond);
    return status;
}

std::string folderOf(pid_t process) {
    return "/proc/" + std::to_string(process);
}

/// Whether a thread of the process would go on at once if it got a processor, or waits for a disk.
bool wantsToRun(pid_t process) {
    std::error_code error;
    std::filesystem::directory_iterator task(folderOf(process) + "/task", error);
    for (; !error && task != std::filesystem::directory_iterator(); task.increment(error)) {
        const auto status = readStatus(task->path().string());
        if (status && (status->state == 'R' || status->state == 'D')) return true;
    }
    return false;
}

std::optional<nanoseconds> readClock(clockid_t clock) {
    timespec time{};
    if (clock_gettime(clock, &time) != 0) return std::nullopt;
    return std::chrono::seconds(time.tv_sec) + nanoseconds(time.tv_nsec);
}

/// What all threads of a process have run so far.
std::optional<nanoseconds> processorTime(pid_t process) {
    clockid_t clock{};
    if (clock_getcpuclockid(process, &clock) != 0) return std::nullopt;
    return readClock(clock);
}

}  // namespace

bool isYoungerThan(pid_t process, std::chrono::milliseconds age) {
    const auto status = readStatus(folderOf(process));
    const auto now = readClock(CLOCK_BOOTTIME);
    return status && now && *now - status->started <= age;
}

bool waitUntilIdle(pid_t process, std::chrono::milliseconds patience) {
    const auto until = Clock::now() + patience;
    auto quietSince = Clock::now();
    nanoseconds usedBefore = processorTime(process).value_or(nanoseconds(0));
    for (;;) {
        std::this_thread::sleep_for(idlePoll);
        const auto used = processorTime(process);
        if (!used) return true;
        const auto now = Clock::now();
        if (wantsToRun(process) || *used - usedBefore > idleUse) {
            quietSince = now;
            usedBefore = *used;
        }
        if (now - quietSince >= quietTime) return true;
        if (now >= until) return false;
    }
}

bool waitUntilSettled(pid_t process) {
    if (!isYoungerThan(process, startingTime)) return false;
    waitUntilIdle(process, settlingPatience);
    return true;
}

}  // namespace varkel
