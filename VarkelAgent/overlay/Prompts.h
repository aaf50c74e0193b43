#pragma once

#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <list>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/AXFrame.h"
#include "overlay/Wording.h"

namespace varkel::overlay {

/// A moment on a clock that never goes back and that goes on while the machine sleeps.
using Moment = std::chrono::nanoseconds;

/// What a person is asked.
struct Question {
    std::string id;
    Wording wording;
    std::string application;
    std::string applicationId;
    /// Whether consent for the application covers it.
    bool isGrantable = false;
    std::optional<AXFrame> frame;
};

enum class Choice { deny, allow, allowInApplication, denyAll };

/// The prompts, in the order in which they came, and what has been granted or denied for a while. It knows no
/// clock: every function is told the time. Used on one thread.
class Prompts {
  public:
    using Answer = std::function<void(bool allowed)>;

    /// Prompts beyond these are denied at once.
    static constexpr std::size_t most = 64;
    /// How long the agent may take to ask for the decision after it has sent the prompt.
    static constexpr std::chrono::seconds untilAsked{15};
    /// How long it then waits: a little less than the minute after which it gives up by itself.
    static constexpr std::chrono::seconds untilAnswered{55};
    static constexpr std::chrono::minutes lasting{5};
    /// So many prompts within a minute are a flood.
    static constexpr std::size_t flood = 20;
    static constexpr std::chrono::minutes floodTime{1};

    /// A prompt has come; what it is about is being looked up. False when it is not taken: it is there
    /// already, or there are too many, or everything is denied.
    bool begin(const std::string& id, Moment now);

    /// What the person is to be asked about a prompt that has begun. Nothing happens when it has ended
    /// meanwhile.
    void ready(Question question, Moment now);

    /// Calls `answer` once, now or later, with the decision about a prompt. One that is not known is denied.
    void wait(const std::string& id, Answer answer, Moment now);

    /// This decision is not waited for any more.
    void withdraw(std::string_view id);

    /// The person has answered the question with this id; nothing happens when it is not asked any more.
    void choose(std::string_view id, Choice choice, Moment now);

    /// Ends what was denied for a while.
    void askAgain() { deniedUntil_.reset(); }

    /// Denies what has waited for too long, and ends what was granted or denied for a while.
    void pass(Moment now);

    /// Denies everything that waits.
    void denyAll(Moment now);

    /// The question to ask, or null. Good until the next call of another function.
    const Question* current() const;
    /// When the current question counts as denied.
    Moment currentDeadline() const;
    /// How many wait behind it.
    std::size_t waitingBehind() const;
    /// Whether so many have come that the person is offered to deny them all.
    bool isFlooded() const { return asked_.size() >= flood; }
    std::optional<Moment> deniedUntil() const { return deniedUntil_; }
    /// Whether time has to pass.
    bool isBusy() const { return !prompts_.empty() || deniedUntil_ || !grants_.empty(); }

  private:
    struct Prompt {
        std::string id;
        Moment deadline{};
        std::optional<Question> question;
        std::optional<bool> decision;
        /// Whether the one who asked for the decision has it.
        bool isTold = false;
        std::vector<Answer> answers;

        bool isAsked() const { return question && !decision; }
    };

    using Position = std::list<Prompt>::iterator;

    Position find(std::string_view id);
    void decide(Prompt& prompt, bool allowed);

    std::list<Prompt> prompts_;
    /// When the questions of the last minute were asked.
    std::deque<Moment> asked_;
    /// Until when each application is granted, by its own element's id.
    std::map<std::string, Moment> grants_;
    std::optional<Moment> deniedUntil_;
};

}  // namespace varkel::overlay
