#include "support/FakeDesktop.h"

#include <algorithm>
#include <sstream>

#include "ax/AXTreeCache.h"

namespace varkel::test {

namespace {

SceneElement& scene(const AXUIElementRef& element) {
    return static_cast<SceneElement&>(*element);
}

}  // namespace

std::shared_ptr<SceneElement> SceneElement::add(const std::string& role, const std::string& title) {
    auto child = std::make_shared<SceneElement>(pid.value_or(0));
    child->set(AXAttribute::role, role);
    if (!title.empty()) child->set(AXAttribute::title, title);
    if (!children) children.emplace();
    children->push_back(child);
    return child;
}

SceneElement& SceneElement::set(AXAttribute attribute, AXValue value) {
    attributes[attribute] = AXResult<AXValue>::of(std::move(value));
    return *this;
}

SceneElement& SceneElement::setFrame(const AXFrame& frame) {
    set(AXAttribute::position, CGPoint{frame.x, frame.y});
    return set(AXAttribute::size, CGSize{frame.width, frame.height});
}

SceneElement& SceneElement::fail(AXAttribute attribute, AXError error) {
    if (attribute == AXAttribute::children) {
        childrenError = error;
    } else {
        attributes[attribute] = AXResult<AXValue>::failed(error);
    }
    return *this;
}

class FakeDesktop::Backend : public Accessibility, public Workspace, public EventPoster, public Clock {
  public:
    explicit Backend(FakeDesktop& desktop) : desktop_(desktop) {}

    bool AXIsProcessTrusted() override { return desktop_.trusted; }
    bool isKnownTrusted() override { return desktop_.trusted && desktop_.knownWithoutWaiting; }

    AXUIElementRef AXUIElementCreateApplication(pid_t pid) override {
        if (desktop_.whenRead) desktop_.whenRead(pid);
        const auto found = desktop_.applications_.find(pid);
        if (found != desktop_.applications_.end()) return found->second;
        auto nobody = std::make_shared<SceneElement>(pid);
        nobody->fail(AXAttribute::children);
        return nobody;
    }

    AXResult<AXValue> AXUIElementCopyAttributeValue(const AXUIElementRef& element,
                                                    AXAttribute attribute) override {
        count(attribute);
        const auto& attributes = scene(element).attributes;
        const auto found = attributes.find(attribute);
        return found == attributes.end() ? AXResult<AXValue>::failed(AXError::noValue) : found->second;
    }

    AXResult<std::vector<AXUIElementRef>> AXUIElementCopyAttributeValues(const AXUIElementRef& element,
                                                                         AXAttribute attribute,
                                                                         std::size_t first,
                                                                         std::size_t maxCount) override {
        using Elements = AXResult<std::vector<AXUIElementRef>>;
        count(attribute);
        const SceneElement& own = scene(element);
        if (own.childrenError != AXError::success) return Elements::failed(own.childrenError);
        if (!own.children) return Elements::failed(AXError::unsupported);
        const auto begin = own.children->begin() + static_cast<std::ptrdiff_t>(first);
        const auto count = std::min(maxCount, own.children->size() - first);
        return Elements::of({begin, begin + static_cast<std::ptrdiff_t>(count)});
    }

    AXResult<pid_t> AXUIElementGetPid(const AXUIElementRef& element) override {
        const auto pid = scene(element).pid;
        return pid ? AXResult<pid_t>::of(*pid) : AXResult<pid_t>::failed(AXError::cannotComplete);
    }

    AXError AXUIElementPerformAction(const AXUIElementRef& element, AXAction action) override {
        const SceneElement& own = scene(element);
        if (!own.actions.contains(action)) return AXError::unsupported;
        desktop_.log(actionName(action));
        return AXError::success;
    }

    AXError AXUIElementSetAttributeValue(const AXUIElementRef& element, AXAttribute attribute,
                                         const AXValue& value) override {
        SceneElement& own = scene(element);
        if (!own.settable.contains(attribute)) return AXError::unsupported;
        own.set(attribute, value);
        const auto* text = std::get_if<std::string>(&value);
        desktop_.log(std::string(attributeName(attribute)) + "=" + (text == nullptr ? "true" : *text));
        return AXError::success;
    }

    bool CFEqual(const AXUIElementRef& a, const AXUIElementRef& b) override { return a == b; }

    void prefetch(const AXUIElementRef&, std::span<const AXAttribute>, const PrefetchScope&) override {
        ++desktop_.prefetches;
    }

    std::optional<pid_t> frontmostApplication() override {
        ++desktop_.frontmostQueries;
        return desktop_.frontmost;
    }

    std::optional<std::optional<pid_t>> frontmostApplicationIfKnown() override {
        return desktop_.knownWithoutWaiting ? std::optional(desktop_.frontmost) : std::nullopt;
    }

    std::optional<std::vector<RunningApplicationRef>> runningApplicationsWithBundleIdentifier(
        const std::string& identifier) override {
        if (!desktop_.tellsWhatRuns) return std::nullopt;
        if (!desktop_.running.contains(identifier)) return std::vector<RunningApplicationRef>();
        return std::vector<RunningApplicationRef>{std::make_shared<Instance>(), std::make_shared<Instance>()};
    }
    bool activateWithOptions(const RunningApplicationRef&, ActivationOptions options) override {
        const bool all = options == ActivationOptions::activateAllWindows;
        desktop_.log(all ? "activate all windows" : "activate");
        return desktop_.activates;
    }
    std::optional<std::string> URLForApplicationWithBundleIdentifier(const std::string& identifier) override {
        if (!desktop_.installed.contains(identifier)) return std::nullopt;
        return "/apps/" + identifier;
    }
    LaunchOutcome openApplicationAtURL(const std::string& url,
                                       const NSWorkspaceOpenConfiguration& open) override {
        desktop_.log("launch " + url + (open.activates ? " in front" : ""));
        if (!desktop_.launches) return {nullptr, "broken"};
        return {std::make_shared<Instance>(), ""};
    }

    double timeIntervalSince1970() override { return desktop_.time; }

    std::optional<CGEvent> CGEventCreateKeyboardEvent(CGKeyCode keyCode, bool keyDown) override {
        if (desktop_.broken.contains({keyCode, keyDown})) return std::nullopt;
        return EventPoster::CGEventCreateKeyboardEvent(keyCode, keyDown);
    }

    void CGEventPost(const CGEvent& event) override {
        std::ostringstream entry;
        if (event.type == CGEventType::keyDown || event.type == CGEventType::keyUp) {
            entry << (event.type == CGEventType::keyDown ? "down " : "up ") << event.keyCode << std::hex;
            if (event.flags != 0) entry << " flags " << event.flags;
            for (const char16_t unit : event.unicodeString) entry << " u" << unsigned{unit};
        } else {
            entry << "mouse " << static_cast<unsigned>(event.type) << " " << event.point.x << ","
                  << event.point.y;
        }
        desktop_.log(entry.str());
    }

    std::unique_ptr<TextAnnouncement> announceText(std::string_view text) override {
        struct Announcement : TextAnnouncement {
            explicit Announcement(FakeDesktop& desktop) : desktop_(desktop) {}
            ~Announcement() override { desktop_.log("announcement ends"); }
            FakeDesktop& desktop_;
        };
        desktop_.log("announce " + std::string(text));
        return std::make_unique<Announcement>(desktop_);
    }

  private:
    struct Instance : NSRunningApplication {
        std::optional<pid_t> processIdentifier() const override { return std::nullopt; }
    };

    void count(AXAttribute attribute) {
        const std::scoped_lock lock(desktop_.mutex_);
        ++desktop_.reads_[attribute];
    }

    FakeDesktop& desktop_;
};

FakeDesktop::FakeDesktop() {
    Platform platform;
    platform.accessibility = std::make_unique<Backend>(*this);
    platform.workspace = std::make_unique<Backend>(*this);
    platform.eventPoster = std::make_unique<Backend>(*this);
    platform.clock = std::make_unique<Backend>(*this);
    Platform::install(std::move(platform));
    // The cache is the process's; a tree of an earlier test's desktop must not answer here.
    AXTreeCache::shared().invalidateAll();
}

FakeDesktop::~FakeDesktop() {
    AXTreeCache::shared().invalidateAll();
    Platform::install({});
}

std::shared_ptr<SceneElement> FakeDesktop::addApplication(pid_t pid, const std::string& title) {
    auto application = std::make_shared<SceneElement>(pid);
    application->set(AXAttribute::role, std::string("AXApplication"));
    if (!title.empty()) application->set(AXAttribute::title, title);
    applications_[pid] = application;
    return application;
}

void FakeDesktop::log(std::string entry) {
    const std::scoped_lock lock(mutex_);
    done_.push_back(std::move(entry));
}

std::vector<std::string> FakeDesktop::done() {
    const std::scoped_lock lock(mutex_);
    return done_;
}

void FakeDesktop::forgetDone() {
    const std::scoped_lock lock(mutex_);
    done_.clear();
}

int FakeDesktop::reads(AXAttribute attribute) {
    const std::scoped_lock lock(mutex_);
    return reads_[attribute];
}

}  // namespace varkel::test
