#pragma once

#include <glib.h>

#include <boost/asio/any_io_executor.hpp>
#include <functional>
#include <map>
#include <string>

#include "overlay/AgentReader.h"
#include "overlay/ConsentServer.h"
#include "overlay/PromptWindow.h"
#include "overlay/Prompts.h"
#include "overlay/TargetMark.h"

namespace varkel::overlay {

/// Puts together what comes from the agent, what is looked up, and what is on the screen. The display's
/// thread, which runs the main loop.
class Service {
  public:
    /// Throws std::system_error when it cannot listen.
    Service(std::string secret, std::uint16_t agentPort, AgentReader::FindToken findToken);
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;
    /// Denies everything that waits.
    ~Service();

    std::uint16_t port() const { return server_.port(); }

  private:
    ConsentHandler handler();
    void lookWhetherAgentRuns();
    void receive(AgentEvent event);
    void keepDetails(AgentEvent event);
    void begin(const AgentEvent& prompt);
    void lookUp(const std::string& id, Action action);
    void ask(const std::string& id, const Action& action, const Target& target);
    void choose(const std::string& id, Choice choice);

    /// Brings the screen to what the prompts say, and comes back as long as time matters to them.
    void refresh();
    void showNoticeIfAny(Moment now);
    void showQuestion(const Question& question, Moment now);

    Prompts prompts_;
    /// What the agent has told ahead of the prompts with these ids, and when.
    std::map<std::string, std::pair<AgentEvent, Moment>> details_;
    PromptWindow window_;
    TargetMark mark_;
    AgentReader reader_;
    guint timer_ = 0;
    /// The agent runs already, and looks for a service only when it starts.
    bool mustSayThatAgentRuns_ = false;
    /// What was just allowed needs the place on the screen more than the next question does.
    Moment quietUntil_{};
    /// Last, since its threads use the others.
    ConsentServer server_;
};

}  // namespace varkel::overlay
