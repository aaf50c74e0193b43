#pragma once

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "ax/AXElementInfo.h"
#include "platform/Platform.h"

namespace varkel::test {

/// An element of the fake desktop. Attributes that were never set are absent.
class SceneElement : public AXUIElement, public std::enable_shared_from_this<SceneElement> {
  public:
    explicit SceneElement(pid_t ownPid) : pid(ownPid) {}

    /// Adds a child with this role and returns it.
    std::shared_ptr<SceneElement> add(const std::string& role, const std::string& title = "");

    /// Sets an attribute, replacing a failure.
    SceneElement& set(AXAttribute attribute, AXValue value);
    SceneElement& setFrame(const AXFrame& frame);

    /// Makes reads of an attribute fail. AXAttribute::children too.
    SceneElement& fail(AXAttribute attribute, AXError error = AXError::cannotComplete);

    /// Nothing: the pid cannot be told.
    std::optional<pid_t> pid;
    std::map<AXAttribute, AXResult<AXValue>> attributes;
    /// Nothing: an element without the attribute.
    std::optional<std::vector<AXUIElementRef>> children;
    AXError childrenError = AXError::success;
    /// Actions that succeed; the others are unsupported.
    std::set<AXAction> actions;
    /// Attributes that can be set; setting another one fails.
    std::set<AXAttribute> settable;
};

/// A desktop in memory: applications made of scene elements, a clock that stands still, counts of what was
/// asked. Change the scene only while no request is under way.
class FakeDesktop {
  public:
    FakeDesktop();
    ~FakeDesktop();

    /// Adds an application and returns its element, with the role "AXApplication".
    std::shared_ptr<SceneElement> addApplication(pid_t pid, const std::string& title = "");

    /// How often an attribute was read, of whatever element.
    int reads(AXAttribute attribute);

    /// What was done, in order, such as "AXPress", "AXValue=text", "mouse 5 120,210", "down 0 flags 20000",
    /// "up 0 uc5", "announce a text", "activate all windows" and "launch /apps/org.example in front".
    std::vector<std::string> done();
    void log(std::string entry);
    void forgetDone();

    /// How often these were called.
    std::atomic<int> prefetches = 0;
    std::atomic<int> frontmostQueries = 0;

    bool trusted = true;
    /// Whether what the desktop knows can be told without waiting.
    bool knownWithoutWaiting = false;
    std::optional<pid_t> frontmost;
    /// Bundle identifiers of what can be launched, and of what runs already, twice each.
    std::set<std::string> installed, running;
    bool tellsWhatRuns = true;
    /// Whether an application that runs comes to the front, and whether one that is launched comes up.
    bool activates = true, launches = true;
    /// The key codes of which no event can be made, of the way down or of the way up.
    std::set<std::pair<CGKeyCode, bool>> broken;
    std::atomic<double> time = 1'700'000'000.0;
    /// Called when the reading of an application begins, on the thread that reads it.
    std::function<void(pid_t)> whenRead = {};

  private:
    class Backend;

    std::mutex mutex_;
    std::map<pid_t, std::shared_ptr<SceneElement>> applications_;
    std::map<AXAttribute, int> reads_;
    std::vector<std::string> done_;
};

}  // namespace varkel::test
