#include "platform/posix/ChildReaper.h"

#include <sys/wait.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

namespace varkel {

namespace {

/// One thread looks after all children given up, and sleeps while there are none. A zombie costs one entry of
/// the process table, so a second more or less does not matter; waiting for *any* child instead would steal
/// the exit statuses of children that others wait for.
class Reaper {
  public:
    void add(pid_t child) {
        const std::lock_guard lock(mutex_);
        children_.push_back(child);
        if (!started_) started_ = start();
        changed_.notify_one();
    }

  private:
    /// False when no thread can be had: the next child brings another attempt.
    bool start() {
        try {
            std::thread([this] { run(); }).detach();
            return true;
        } catch (const std::system_error&) {
            return false;
        }
    }

    void run() {
        std::unique_lock lock(mutex_);
        for (;;) {
            changed_.wait(lock, [this] { return !children_.empty(); });
            std::erase_if(children_, [](pid_t child) {
                const pid_t ended = waitpid(child, nullptr, WNOHANG);
                return ended == child || (ended < 0 && errno == ECHILD);
            });
            if (!children_.empty()) changed_.wait_for(lock, std::chrono::milliseconds(500));
        }
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<pid_t> children_;
    bool started_ = false;
};

}  // namespace

void reapInBackground(pid_t child) {
    // Never destroyed: its thread outlives main().
    static Reaper& reaper = *new Reaper;
    reaper.add(child);
}

}  // namespace varkel
