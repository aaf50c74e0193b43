#include "overlay/Service.h"

#include <time.h>

#include <algorithm>
#include <boost/asio/co_spawn.hpp>
#include <cstdint>
#include <exception>
#include <optional>
#include <utility>

#include "overlay/MainLoop.h"

namespace varkel::overlay {

namespace {

constexpr guint tick = 100;  // ms
constexpr std::size_t mostDetails = Prompts::most;
/// The prompt follows its details at once.
constexpr std::chrono::seconds detailsLifetime(15);
constexpr std::chrono::milliseconds quietAfterAllowing(700);

/// Goes on while the machine sleeps: five minutes are five minutes for the person.
Moment now() {
    timespec time{};
    clock_gettime(CLOCK_BOOTTIME, &time);
    return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
}

/// Whether the agent can be asked what an action acts upon. Keys that go to an application by its name do not
/// go to the one in front.
bool hasTarget(const Action& action) {
    if (!action.details) return false;
    const AgentEvent& details = *action.details;
    if (details.elementId) return true;
    return action.kind == "send_keystrokes" && !details.app_bundle_id && !details.app_name;
}

}  // namespace

Service::Service(std::string secret, std::uint16_t agentPort, AgentReader::FindToken findToken)
    : window_([this](const std::string& id, Choice choice) { choose(id, choice); }),
      reader_(agentPort, std::move(findToken)),
      server_(std::move(secret), handler()) {
    lookWhetherAgentRuns();
}

Service::~Service() {
    if (timer_ != 0) g_source_remove(timer_);
    prompts_.denyAll(now());
}

void Service::lookWhetherAgentRuns() {
    boost::asio::co_spawn(server_.executor(), reader_.isThere(),
                          [this](const std::exception_ptr&, bool runs) {
                              runOnMain([this, runs] {
                                  mustSayThatAgentRuns_ = runs;
                                  refresh();
                              });
                          });
}

/// Everything is handed to the display's thread, in the order in which it comes.
ConsentHandler Service::handler() {
    return {[this](AgentEvent event) {
                runOnMain([this, event = std::move(event)]() mutable { receive(std::move(event)); });
            },
            [this](std::string id, std::function<void(bool)> answer) {
                runOnMain([this, id = std::move(id), answer = std::move(answer)] {
                    prompts_.wait(id, answer, now());
                    refresh();
                });
            },
            [this](std::string id) {
                runOnMain([this, id = std::move(id)] {
                    prompts_.withdraw(id);
                    refresh();
                });
            }};
}

void Service::receive(AgentEvent event) {
    if (!event.id || !event.action) return;
    mustSayThatAgentRuns_ = false;
    if (event.type == "destructivePrompt") {
        begin(event);
    } else if (event.type == "actionDetails") {
        keepDetails(std::move(event));
    }
}

void Service::keepDetails(AgentEvent event) {
    std::erase_if(details_, [](const auto& kept) { return now() - kept.second.second >= detailsLifetime; });
    if (details_.size() >= mostDetails) return;
    std::string id = *event.id;
    details_.insert_or_assign(std::move(id), std::pair(std::move(event), now()));
}

void Service::begin(const AgentEvent& prompt) {
    const std::string& id = *prompt.id;
    Action action{*prompt.action, prompt.target.value_or(""), std::nullopt};
    if (auto kept = details_.extract(id)) action.details = std::move(kept.mapped().first);
    if (!prompts_.begin(id, now())) return;
    if (hasTarget(action)) return lookUp(id, std::move(action));
    ask(id, action, Target());
}

void Service::lookUp(const std::string& id, Action action) {
    auto task = reader_.look(action.details->elementId.value_or(""), action.details->batch_id);
    boost::asio::co_spawn(
        server_.executor(), std::move(task),
        [this, id, action = std::move(action)](const std::exception_ptr&, Target target) {
            runOnMain([this, id, action, target = std::move(target)] { ask(id, action, target); });
        });
    refresh();
}

void Service::ask(const std::string& id, const Action& action, const Target& target) {
    Question question;
    question.id = id;
    question.wording = describe(action, target);
    question.application = target.application;
    question.applicationId = target.applicationId;
    question.isGrantable = isCoveredByGrants(action, target);
    question.frame = target.frame;
    prompts_.ready(std::move(question), now());
    refresh();
}

void Service::choose(const std::string& id, Choice choice) {
    // The window goes first: the decision sets off what it may stand in front of.
    window_.hide();
    mark_.mark(std::nullopt);
    const bool isAllowed = choice == Choice::allow || choice == Choice::allowInApplication;
    if (isAllowed) quietUntil_ = now() + quietAfterAllowing;
    prompts_.choose(id, choice, now());
    refresh();
}

void Service::refresh() {
    const Moment time = now();
    prompts_.pass(time);
    const Question* question = prompts_.current();
    if (question != nullptr && time >= quietUntil_) {
        showQuestion(*question, time);
    } else {
        mark_.mark(std::nullopt);
        showNoticeIfAny(time);
    }
    if ((prompts_.isBusy() || mustSayThatAgentRuns_) && timer_ == 0) {
        const auto again = [](gpointer self) -> gboolean {
            static_cast<Service*>(self)->timer_ = 0;
            static_cast<Service*>(self)->refresh();
            return G_SOURCE_REMOVE;
        };
        timer_ = g_timeout_add(tick, again, this);
    }
}

void Service::showNoticeIfAny(Moment now) {
    if (const auto denied = prompts_.deniedUntil()) {
        const auto minutes = std::chrono::ceil<std::chrono::minutes>(*denied - now).count();
        std::string text = "Everything that an assistant asks for is denied for ";
        text.append(std::to_string(minutes)).append(minutes == 1 ? " more minute." : " more minutes.");
        window_.showNotice({std::move(text), "Ask again", [this] {
                                prompts_.askAgain();
                                refresh();
                            }});
    } else if (mustSayThatAgentRuns_) {
        window_.showNotice(
            {"The agent runs already. It asks only where it could when it started: start it again.", "Close",
             [this] {
                 mustSayThatAgentRuns_ = false;
                 refresh();
             }});
    } else {
        window_.hide();
    }
}

void Service::showQuestion(const Question& question, Moment now) {
    std::optional<Box> target;
    if (question.frame) target = mark_.boxOf(*question.frame);
    mark_.mark(target);
    PromptWindow::Surroundings surroundings;
    surroundings.behind = prompts_.waitingBehind();
    surroundings.isFlooded = prompts_.isFlooded();
    surroundings.left = std::chrono::ceil<std::chrono::seconds>(prompts_.currentDeadline() - now);
    window_.show(question, target, surroundings);
}

}  // namespace varkel::overlay
