// An application on the accessibility bus that says anything: wrong types, wrong signatures, raw bytes,
// endless children, cycles, huge texts, invalid UTF-8, counts that are lies, and a connection that ends.
// Whatever it says, there is a tree within bounds, it can be written as JSON, and no descriptor stays open.
//
// An input is a head and data. The head says how each kind of call is answered; what is in an answer is read
// from the data, from where the call's own path and name lead to. So an answer does not depend on the order
// of calls, which is not the same each time.

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "ax/AXTreeBuilder.h"
#include "ax/Attributes.h"
#include "ax/ElementId.h"
#include "fuzz/Property.h"
#include "json/JSONEncoder.h"
#include "platform/Platform.h"
#include "platform/linux/atspi/LinuxAccessibility.h"
#include "support/Processes.h"
#include "support/ScriptedBus.h"

namespace varkel::fuzzing {
namespace {

/// The calls that the head has a byte for; the last one stands for all others.
constexpr std::array<std::string_view, 12> members{
    "GetAttributes", "Get",     "GetRole",     "GetState",
    "GetExtents",    "GetText", "GetChildren", "GetChildAtIndex",
    "GetItems",      "GetName", "DoAction",    ""};
constexpr std::size_t headSize = 1 + members.size();

enum Behaviour { proper, failing, otherSignature, raw, overwritten, ending, large, mixed };

/// The data as one call sees them: from an offset of its own, and around.
class Draw {
  public:
    Draw(std::string_view data, const ScriptedCall& call) : data_(data) {
        std::uint64_t hash = 14695981039346656037u;
        for (const std::string* text : {&call.path, &call.member, &call.body}) {
            for (const char c : *text) hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211u;
        }
        at_ = static_cast<std::size_t>(hash >> 16);
    }

    std::uint8_t byte() { return static_cast<std::uint8_t>(data_.empty() ? 0 : data_[at_++ % data_.size()]); }
    std::size_t below(std::size_t bound) { return byte() % bound; }
    std::uint32_t u32() {
        std::uint32_t value = 0;
        for (int i = 0; i < 4; ++i) value = value << 8 | byte();
        return value;
    }
    std::string text(std::size_t size) {
        std::string made(size, '\0');
        for (char& c : made) c = static_cast<char>(byte());
        return made;
    }
    std::string shortText() { return text(below(24)); }
    double number() {
        const std::string bytes = text(sizeof(double));
        double value = 0;
        std::memcpy(&value, bytes.data(), sizeof value);
        return value;
    }

  private:
    std::string_view data_;
    std::size_t at_ = 0;
};

class HostileApplication {
  public:
    explicit HostileApplication(std::string_view input)
        : head_(input.substr(0, headSize)), data_(input.substr(headSize)), callsLeft_(mostCalls(head_[0])) {}

    bool isDirect() const { return (head_[0] & 1) != 0; }
    bool isActedOn() const { return (head_[0] & 8) != 0; }

    ScriptedReply answer(const ScriptedCall& call) {
        if (auto own = ScriptedBus::ownAnswer(call, isDirect())) return *std::move(own);
        if (callsLeft_ == 0) return ScriptedReply::endOfConnection();
        --callsLeft_;
        Draw draw(data_, call);
        const auto member = std::ranges::find(members.begin(), members.end() - 1, call.member);
        auto behaviour =
            static_cast<Behaviour>(head_[1 + static_cast<std::size_t>(member - members.begin())] & 7);
        if (behaviour == mixed) behaviour = static_cast<Behaviour>(draw.below(mixed));
        ScriptedReply reply = behave(behaviour, call, draw);
        reply.mayBeMalformed = true;
        return reply;
    }

    /// What the window system shows of it.
    ProcessWindows windows() const {
        ScriptedCall call;
        call.path = "windows";
        Draw draw(data_, call);
        std::vector<ScreenWindow> windows(draw.below(4));
        for (ScreenWindow& window : windows) {
            const int scale = draw.byte() % 3 + 1;
            const auto pixels = [&] { return static_cast<double>(draw.byte() * scale); };
            window.area = {pixels(), pixels(), pixels(), pixels()};
            window.title = draw.shortText();
            window.shadow.left = window.frame.top = draw.byte();
            window.popup = draw.byte() < 128;
        }
        return {std::move(windows), draw.byte() < 192};
    }

  private:
    /// How many calls are answered before the application has had enough. Seldom as many as the deepest tree
    /// takes.
    static std::uint32_t mostCalls(int flags) {
        constexpr int deep = 0xC6;
        return (flags & deep) == deep ? 8000 : 16u << (2 * (flags >> 1 & 3));
    }

    ScriptedReply behave(Behaviour behaviour, const ScriptedCall& call, Draw& draw) {
        switch (behaviour) {
            case failing:
                return failure(draw);
            case otherSignature: {
                ScriptedReply reply = properAnswer(call, draw);
                reply.signature = signature(draw);
                return reply;
            }
            case raw:
                return {ScriptedReply::Kind::answer, signature(draw), draw.text(draw.byte()), true};
            case overwritten:
                return overwrite(properAnswer(call, draw), draw);
            case ending:
                if (draw.byte() < 8) return ScriptedReply::endOfConnection();
                break;
            case large:
                if (largeLeft_ == 0) break;
                --largeLeft_;
                return largeAnswer(call, draw);
            default:
                break;
        }
        return properAnswer(call, draw);
    }

    static ScriptedReply failure(Draw& draw) {
        constexpr std::array names{"UnknownMethod", "NoReply", "Disconnected", "AccessDenied"};
        const std::size_t kind = draw.below(names.size() + 2);
        const std::string name = kind < names.size()
                                     ? std::string("org.freedesktop.DBus.Error.") + names[kind]
                                 : kind == names.size() ? ""
                                                        : "no.\xFFname";
        return {ScriptedReply::Kind::error, name, {}, true};
    }

    static std::string signature(Draw& draw) {
        constexpr std::array known{"",       "s",       "u",     "v", "b", "a(so)", "(so)",  "au", "a{sv}",
                                   "(iiii)", "(((s)))", "aaaau", "g", "h", "a{vs}", "sssss", "o",  "ay"};
        constexpr std::string_view letters = "ybnqiuxtdsogavh(){}";
        if (draw.byte() < 160) return known[draw.below(known.size())];
        std::string made(draw.below(12), ' ');
        for (char& c : made) c = letters[draw.below(letters.size())];
        return made;
    }

    static ScriptedReply overwrite(ScriptedReply reply, Draw& draw) {
        for (std::size_t count = 1 + draw.below(6); count > 0 && !reply.body.empty(); --count) {
            reply.body[draw.u32() % reply.body.size()] = static_cast<char>(draw.byte());
        }
        return reply;
    }

    /// Most are objects that have not been seen yet, so that a tree need not end.
    static std::pair<std::string, std::string> child(const ScriptedCall& call, std::size_t number,
                                                     Draw& draw) {
        const std::string fresh = call.path + "/" + std::to_string(number);
        const int kind = draw.byte() >> 4;
        if (kind == 3) return {"", fresh};
        if (kind == 4) return {":1." + std::to_string(draw.byte()), fresh};
        if (kind == 5) return {":1.7", "/known/" + std::to_string(draw.below(8))};
        if (kind == 6) return {draw.shortText(), draw.shortText()};
        // The last leads up again, by way of what may be an ancestor.
        const std::map<int, std::string> others{
            {0, "/application"},
            {1, call.path},
            {2, "/org/a11y/atspi/null"},
            {7, call.path.substr(0, std::max<std::size_t>(call.path.rfind('/'), 1))}};
        return {":1.7", others.contains(kind) ? others.at(kind) : fresh};
    }

    static ScriptedReply childList(const ScriptedCall& call, std::size_t count, Draw& draw) {
        References list;
        for (std::size_t i = 0; i < count; ++i) list.push_back(child(call, i, draw));
        return ScriptedReply::references(list);
    }

    static std::uint32_t childCount(Draw& draw) {
        const std::uint8_t kind = draw.byte();
        if (kind < 16) return draw.u32();
        return kind < 24 ? 5001 : kind % 6;
    }

    static ScriptedReply property(const ScriptedCall& call, Draw& draw) {
        constexpr std::array toolkits{"gtk", "GTK", "Qt", "Chromium", ""};
        if (call.isAbout("ChildCount")) return ScriptedReply::numberProperty(childCount(draw));
        if (call.isAbout("NActions") || call.isAbout("CharacterCount"))
            return ScriptedReply::numberProperty(draw.byte() < 32 ? draw.u32() : draw.byte() % 4u);
        if (!call.isAbout("ToolkitName")) return ScriptedReply::textProperty(draw.shortText());
        return ScriptedReply::textProperty(toolkits[draw.below(toolkits.size())]);
    }

    static std::vector<std::uint32_t> states(std::size_t count, Draw& draw) {
        std::vector<std::uint32_t> words(count);
        for (std::uint32_t& word : words) word = draw.u32();
        return words;
    }

    static ScriptedReply cacheItems(const ScriptedCall& call, std::size_t count, Draw& draw) {
        const bool listsChildren = draw.byte() < 64;
        WireWriter body;
        const auto list = body.array(8);
        for (std::size_t i = 0; i < count; ++i) {
            const auto [name, path] =
                i == 0 ? std::pair<std::string, std::string>(":1.7", "/application") : child(call, i, draw);
            body.align(8).reference(name, path).reference(":1.7", "/application").reference(name, path);
            if (listsChildren) {
                const auto children = body.array(8);
                for (std::size_t k = draw.below(4); k > 0; --k) body.reference(name, path);
                body.end(children);
            } else {
                body.u32(draw.byte()).u32(childCount(draw));
            }
            const auto interfaces = body.array(4);
            for (const char* interface : {"Component", "Text", "Value"}) {
                if (draw.byte() < 200) body.text(std::string("org.a11y.atspi.") + interface);
            }
            body.end(interfaces);
            body.text(draw.shortText()).u32(draw.byte() % 130u).text(draw.shortText());
            body.words(states(draw.below(4), draw));
        }
        body.end(list);
        return ScriptedReply::answer(
            listsChildren ? "a((so)(so)(so)a(so)assusau)" : "a((so)(so)(so)iiassusau)", std::move(body));
    }

    static ScriptedReply properAnswer(const ScriptedCall& call, Draw& draw) {
        constexpr std::array names{"click", "press", "jump", "open", "x"};
        WireWriter body;
        if (call.member == "Get") return property(call, draw);
        if (call.member == "GetChildren") return childList(call, draw.below(6), draw);
        if (call.member == "GetItems") return cacheItems(call, draw.below(20), draw);
        if (call.member == "GetText") return ScriptedReply::text(draw.shortText());
        if (call.member == "GetName") return ScriptedReply::text(names[draw.below(names.size())]);
        if (call.member == "GetRole")
            return ScriptedReply::number(draw.byte() < 8 ? draw.u32() : draw.byte() % 130u);
        if (call.member == "GetState")
            return ScriptedReply::answer("au", std::move(body.words(states(draw.below(4), draw))));
        if (call.member == "GetExtents") {
            const bool wild = draw.byte() < 64;
            for (int i = 0; i < 4; ++i) body.u32(wild ? draw.u32() : draw.byte());
            return ScriptedReply::answer("(iiii)", std::move(body));
        }
        if (call.member == "GetChildAtIndex") {
            const auto [name, path] = child(call, draw.byte(), draw);
            return ScriptedReply::answer("(so)", std::move(body.reference(name, path)));
        }
        return ScriptedReply::answer("b", std::move(body.u32(draw.byte() % 3)));
    }

    static ScriptedReply largeAnswer(const ScriptedCall& call, Draw& draw) {
        const std::size_t size = std::size_t{1} << draw.below(20);
        if (call.member == "GetChildren") return childList(call, size % 6000, draw);
        if (call.member == "GetItems") return cacheItems(call, size % 2000, draw);
        if (call.member == "Get") return ScriptedReply::textProperty(std::string(size, 'x'));
        if (call.member == "GetState")
            return ScriptedReply::answer("au", WireWriter().words(states(size / 8, draw)));
        return ScriptedReply::text(std::string(size, static_cast<char>(draw.byte())));
    }

    std::string_view head_;
    std::string_view data_;
    std::uint32_t callsLeft_;
    int largeLeft_ = 8;
};

class NoEvents : public EventPoster {
  public:
    void CGEventPost(const CGEvent& event) override {
        require(event.point.x == event.point.x && event.point.y == event.point.y, "a place is a number");
    }
};

std::size_t checkTree(const AXElementInfo& element, std::size_t depth, std::size_t& text) {
    require(depth <= maxTreeDepth, "a tree's depth has a bound");
    std::size_t count = 1;
    text += element.label.value_or("").size() + element.value.value_or("").size() +
            element.identifier.value_or("").size();
    require(text <= maxTreeText, "a tree's text has a bound");
    if (!element.children) return count;
    require(element.children->size() <= maxChildrenPerElement, "a list of children has a bound");
    for (const AXElementInfo& child : *element.children) count += checkTree(child, depth + 1, text);
    return count;
}

/// Acts on the first children, each in every way.
void actOn(const AXUIElementRef& application) {
    Accessibility& accessibility = *Platform::current().accessibility;
    const auto children = getChildren(application);
    if (!children) return;
    for (std::size_t i = 0; i < std::min<std::size_t>(children->size(), 3); ++i) {
        const AXUIElementRef& child = (*children)[i];
        accessibility.AXUIElementPerformAction(child, AXAction::press);
        accessibility.AXUIElementPerformAction(child, AXAction::scrollDown);
        accessibility.AXUIElementSetAttributeValue(child, AXAttribute::value, std::string("text"));
        accessibility.AXUIElementSetAttributeValue(child, AXAttribute::focused, true);
    }
}

void readAndAct(HostileApplication& script) {
    ScriptedBus scripted([&](const ScriptedCall& call) { return script.answer(call); });
    AtspiBus bus;
    Platform platform;
    platform.eventPoster = std::make_unique<NoEvents>();
    platform.accessibility = std::make_unique<LinuxAccessibility>(
        bus, *platform.eventPoster, [&script](pid_t) { return script.windows(); });
    Platform::install(std::move(platform));
    const auto application = Platform::current().accessibility->AXUIElementCreateApplication(::getpid());
    const AXElementInfo tree = buildTree(application, "0");
    std::size_t text = 0;
    require(checkTree(tree, 0, text) <= maxTreeElements, "a tree's size has a bound");
    require(encodeJSON(tree).has_value(), "a tree can be written as JSON");
    if (script.isActedOn()) actOn(application);
}

}  // namespace

void check(std::string_view input) {
    if (input.size() < headSize) return;
    HostileApplication script(input);
    const std::size_t before = test::openDescriptors();
    readAndAct(script);
    Platform::install({});
    require(test::openDescriptors() == before, "connections end with their request");
}

}  // namespace varkel::fuzzing

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    varkel::ScriptedBus::enterEnvironment();
    return 0;
}
