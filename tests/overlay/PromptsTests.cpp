#include <gmock/gmock.h>

#include "overlay/Prompts.h"

namespace varkel::overlay {
namespace {

using std::chrono::minutes;
using std::chrono::seconds;

class PromptsTest : public testing::Test {
  protected:
    /// A question about an element of an application, of which the agent waits for the decision.
    void ask(const std::string& id, const std::string& application = "") {
        prompts.begin(id, now);
        wait(id);
        ready(id, application);
    }

    void wait(const std::string& id) {
        prompts.wait(
            id, [this, id](bool allowed) { decisions[id] += allowed ? "yes" : "no"; }, now);
    }

    void ready(const std::string& id, const std::string& application = "") {
        Question question;
        question.id = id;
        question.applicationId = application;
        question.isGrantable = !application.empty();
        prompts.ready(std::move(question), now);
    }

    void choose(Choice choice) { prompts.choose(prompts.current()->id, choice, now); }
    std::string current() const { return prompts.current() != nullptr ? prompts.current()->id : ""; }

    Prompts prompts;
    Moment now = std::chrono::hours(1);
    std::map<std::string, std::string> decisions;
};

TEST_F(PromptsTest, AreAskedOneAfterTheOther) {
    ask("a");
    ask("b");
    ask("c");
    EXPECT_EQ(current(), "a");
    EXPECT_EQ(prompts.waitingBehind(), 2U);
    prompts.choose("b", Choice::allowInApplication, now);  // has no application to be allowed in
    choose(Choice::allow);
    EXPECT_EQ(current(), "c");
    prompts.choose("a", Choice::deny, now);  // answered already
    prompts.withdraw("c");
    EXPECT_FALSE(prompts.isBusy());
    EXPECT_EQ(decisions, (std::map<std::string, std::string>{{"a", "yes"}, {"b", "no"}}));
}

TEST_F(PromptsTest, CountAsDeniedInTime) {
    ask("a");
    now += seconds(30);
    ask("b");
    EXPECT_EQ(prompts.currentDeadline() - now, seconds(25));
    now += seconds(25);
    prompts.pass(now);
    EXPECT_EQ(decisions["a"], "no");
    EXPECT_EQ(current(), "b");
    prompts.choose("a", Choice::allow, now);
    EXPECT_EQ(decisions["a"], "no") << "decided once";

    // One that is answered after its time is a no, although no time was told to have passed.
    now += seconds(30);
    prompts.choose("b", Choice::allow, now);
    EXPECT_EQ(decisions["b"], "no");

    // The agent never asks, or what it is about is never found out.
    prompts.begin("c", now);
    ready("c");
    prompts.begin("d", now);
    wait("d");
    now += Prompts::untilAsked;
    prompts.pass(now);
    EXPECT_EQ(current(), "");
    now += Prompts::untilAnswered;
    prompts.pass(now);
    EXPECT_EQ(decisions["d"], "no");
    EXPECT_FALSE(prompts.isBusy());
    wait("c");
    EXPECT_EQ(decisions["c"], "no") << "not known any more";
}

TEST_F(PromptsTest, KeepADecisionUntilItIsAskedFor) {
    prompts.begin("a", now);
    ready("a");
    choose(Choice::allow);
    EXPECT_EQ(current(), "");
    wait("a");
    EXPECT_EQ(decisions["a"], "yes");
    wait("a");
    EXPECT_EQ(decisions["a"], "yesno") << "it holds for one request";
}

TEST_F(PromptsTest, AllowAnApplicationForFiveMinutes) {
    ask("a", "mail");
    ask("other", "bank");
    ask("b", "mail");
    prompts.begin("script", now);
    wait("script");
    choose(Choice::allowInApplication);
    EXPECT_EQ(decisions, (std::map<std::string, std::string>{{"a", "yes"}, {"b", "yes"}}));
    EXPECT_EQ(current(), "other");
    choose(Choice::deny);
    ready("script");
    EXPECT_EQ(current(), "script") << "what belongs to no application is asked";
    choose(Choice::deny);

    now += minutes(5) - seconds(1);
    ask("c", "mail");
    EXPECT_EQ(decisions["c"], "yes");
    now += seconds(1);
    ask("d", "mail");
    EXPECT_EQ(current(), "d");
}

TEST_F(PromptsTest, OfferToDenyAFlood) {
    for (int i = 0; i < 19; ++i) {
        ask("early " + std::to_string(i), "mail");
        choose(Choice::deny);
    }
    now += minutes(1);
    prompts.pass(now);
    for (int i = 0; i < 19; ++i) ask(std::to_string(i));
    EXPECT_FALSE(prompts.isFlooded()) << "those of more than a minute ago do not count";
    ask("x", "mail");
    EXPECT_TRUE(prompts.isFlooded());
    choose(Choice::allow);
    for (int i = 1; i < 19; ++i) choose(Choice::deny);
    choose(Choice::allowInApplication);
    ask("granted", "mail");
    EXPECT_EQ(decisions["granted"], "yes");

    ask("y");
    ask("z");
    prompts.begin("looked up", now);
    choose(Choice::denyAll);
    wait("looked up");
    ask("later", "mail");
    for (const char* id : {"y", "z", "looked up", "later"}) EXPECT_EQ(decisions[id], "no") << id;
    EXPECT_EQ(current(), "");
    now += minutes(5);
    prompts.pass(now);
    EXPECT_FALSE(prompts.deniedUntil());
    ask("after", "mail");
    EXPECT_EQ(current(), "after") << "what was granted before has gone as well";
    choose(Choice::denyAll);
    prompts.askAgain();
    ask("again");
    EXPECT_EQ(current(), "again");
}

TEST_F(PromptsTest, AreBounded) {
    for (std::size_t i = 0; i < Prompts::most; ++i) ask(std::to_string(i));
    EXPECT_FALSE(prompts.begin("one more", now));
    wait("one more");
    EXPECT_EQ(decisions["one more"], "no");
    EXPECT_FALSE(prompts.begin("0", now)) << "an id is used once";
    prompts.denyAll(now);
    EXPECT_EQ(decisions.size(), Prompts::most + 1);
    EXPECT_FALSE(prompts.isBusy());
}

}  // namespace
}  // namespace varkel::overlay
