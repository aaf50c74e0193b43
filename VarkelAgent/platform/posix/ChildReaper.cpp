#include "platform/posix/ChildReaper.h"

#include <sys/wait.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include "base/StartThread.h"

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
        if (!started_) start();
        changed_.notify_one();
    }

  private:
    /// Without a thread to be had, the next child brings another attempt.
    void start() {
        std::thread thread;
        started_ = startThread(thread, [this] { run(); });
        if (started_) thread.detach();
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
