#include "overlay/Prompts.h"

#include <algorithm>
#include <utility>

namespace varkel::overlay {

Prompts::Position Prompts::find(std::string_view id) {
    return std::ranges::find_if(prompts_, [&](const Prompt& prompt) { return prompt.id == id; });
}

/// Tells those who wait. A decision that has not been asked for yet stays until it is, or until its time is
/// over.
void Prompts::decide(Prompt& prompt, bool allowed) {
    if (prompt.decision) return;
    prompt.decision = allowed;
    prompt.isTold = !prompt.answers.empty();
    for (const Answer& answer : std::exchange(prompt.answers, {})) answer(allowed);
}

bool Prompts::begin(const std::string& id, Moment now) {
    pass(now);
    if (deniedUntil_ || prompts_.size() >= most || find(id) != prompts_.end()) return false;
    Prompt& prompt = prompts_.emplace_back();
    prompt.id = id;
    prompt.deadline = now + untilAsked;
    return true;
}

void Prompts::ready(Question question, Moment now) {
    pass(now);
    const Position prompt = find(question.id);
    if (prompt == prompts_.end() || prompt->question || prompt->decision) return;
    const bool isGranted = question.isGrantable && grants_.contains(question.applicationId);
    prompt->question = std::move(question);
    if (isGranted) return decide(*prompt, true);
    asked_.push_back(now);
}

void Prompts::wait(const std::string& id, Answer answer, Moment now) {
    pass(now);
    const Position prompt = find(id);
    if (prompt == prompts_.end()) return answer(false);
    if (prompt->decision) {
        const bool allowed = *prompt->decision;
        prompts_.erase(prompt);
        return answer(allowed);
    }
    prompt->deadline = now + untilAnswered;
    prompt->answers.push_back(std::move(answer));
}

void Prompts::withdraw(std::string_view id) {
    const Position prompt = find(id);
    if (prompt != prompts_.end()) prompts_.erase(prompt);
}

void Prompts::choose(std::string_view id, Choice choice, Moment now) {
    pass(now);
    const Position prompt = find(id);
    if (prompt == prompts_.end() || !prompt->isAsked()) return;
    if (choice == Choice::denyAll) {
        deniedUntil_ = now + lasting;
        grants_.clear();
        asked_.clear();
        return denyAll(now);
    }
    if (choice == Choice::allowInApplication && prompt->question->isGrantable) {
        const std::string application = prompt->question->applicationId;
        grants_[application] = now + lasting;
        for (Prompt& other : prompts_) {
            const bool isCovered = other.isAsked() && other.question->isGrantable &&
                                   other.question->applicationId == application;
            if (isCovered) decide(other, true);
        }
    } else {
        decide(*prompt, choice == Choice::allow);
    }
    pass(now);
}

void Prompts::denyAll(Moment now) {
    for (Prompt& prompt : prompts_) decide(prompt, false);
    pass(now);
}

void Prompts::pass(Moment now) {
    for (auto prompt = prompts_.begin(); prompt != prompts_.end();) {
        const bool isOver = now >= prompt->deadline;
        if (isOver) decide(*prompt, false);
        prompt = isOver || prompt->isTold ? prompts_.erase(prompt) : std::next(prompt);
    }
    while (!asked_.empty() && now - asked_.front() >= floodTime) asked_.pop_front();
    std::erase_if(grants_, [&](const auto& grant) { return now >= grant.second; });
    if (deniedUntil_ && now >= *deniedUntil_) deniedUntil_.reset();
}

const Question* Prompts::current() const {
    const auto prompt = std::ranges::find_if(prompts_, &Prompt::isAsked);
    return prompt != prompts_.end() ? &*prompt->question : nullptr;
}

Moment Prompts::currentDeadline() const {
    const auto prompt = std::ranges::find_if(prompts_, &Prompt::isAsked);
    return prompt != prompts_.end() ? prompt->deadline : Moment{};
}

std::size_t Prompts::waitingBehind() const {
    const auto count = std::ranges::count_if(prompts_, &Prompt::isAsked);
    return count > 0 ? static_cast<std::size_t>(count) - 1 : 0;
}

}  // namespace varkel::overlay
