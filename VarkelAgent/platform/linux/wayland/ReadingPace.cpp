#include "platform/linux/wayland/ReadingPace.h"

#include <chrono>
#include <thread>

#include "base/Deadline.h"
#include "platform/EventPoster.h"
#include "platform/linux/wayland/WaylandConnection.h"

namespace varkel {

namespace {

/// An application that has more to read is waited for: it is ended at some 17,000 bytes. A press is about 60.
constexpr std::size_t mostUnread = 8'000;
constexpr unsigned pressesBetweenLooks = 8;
constexpr std::chrono::milliseconds readingPatience{5000};
constexpr std::chrono::milliseconds readingPoll{5};

}  // namespace

void ReadingPace::await(std::optional<pid_t> process) {
    const bool isNew = unreadOf_ != process;
    if (!process || (!isNew && pressesUntilLook_-- > 0)) return;
    if (isNew) unread_.emplace(*process, WaylandConnection::socketPath());
    unreadOf_ = process;
    pressesUntilLook_ = pressesBetweenLooks;
    const Deadline until = Deadline::in(readingPatience);
    while (unread_->bytes().value_or(0) > mostUnread) {
        if (until.passed()) throw EventError("The application does not read its keys.");
        std::this_thread::sleep_for(readingPoll);
    }
}

}  // namespace varkel
