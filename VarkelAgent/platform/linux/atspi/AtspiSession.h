#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/linux/atspi/AtspiBus.h"
#include "platform/linux/atspi/AtspiCalls.h"
#include "platform/linux/atspi/AtspiNode.h"

namespace varkel {

/// One request's view of one application: its objects as they were read, and the connections to read more.
/// Nothing is read twice, and nothing waits past the session's deadline. Belongs to one thread at a time.
class AtspiSession {
  public:
    AtspiSession(AtspiBus& bus, pid_t pid);
    AtspiSession(const AtspiSession&) = delete;
    AtspiSession& operator=(const AtspiSession&) = delete;
    ~AtspiSession();

    /// The node of the application itself.
    static constexpr std::uint32_t rootNode = 0;

    const AtspiNode& node(std::uint32_t index) const { return nodes_[index]; }

    /// The process that owns a node, or nothing when the bus does not say.
    std::optional<pid_t> pidOf(std::uint32_t index);

    /// Reads one part of a node unless it has been read. Returns whether the node has it.
    bool load(std::uint32_t index, AtspiPart part);

    /// The same for several parts of several nodes, with all calls on their way at once.
    void load(std::span<const std::uint32_t> nodes, std::span<const AtspiPart> parts);

    /// The application's toolkit by its own account; empty when it does not say.
    const std::string& toolkitName() const { return toolkit_.name; }

    /// Reads the parts that `attributes` need, of a node and everything below it, with as many calls on their
    /// way at once as the application takes.
    void loadSubtree(std::uint32_t index, std::span<const AXAttribute> attributes,
                     const PrefetchScope& scope);

    /// What an act on a node came to. `unanswered`: the call went out, and no answer came in time. An
    /// application that opens a dialog or quits before it answers has acted, and must not be made to act
    /// twice.
    enum class Act { done, unanswered, unsupported, refused };

    /// Performs the action that does what a person's click on the node does, if it has one.
    Act press(std::uint32_t index);

    /// Replaces the text of an editable node. Done only when the new text has been seen there, or a text that
    /// the node made of it; a password, which cannot be seen, counts as taken.
    Act setText(std::uint32_t index, const std::string& text);

    /// Asks for the keyboard focus. Done only when the node has it.
    Act grabFocus(std::uint32_t index);

    /// Asks for the node to be scrolled into view, as far as its toolkit can. What was read of places is
    /// forgotten.
    void scrollIntoView(std::uint32_t index);

    /// Why a part of a node is not there.
    AXError reason(std::uint32_t index, AtspiPart part) const { return nodes_[index].reason(part); }

    /// Whether a node is known to be hidden, or in a menu or a list that is not open. It has no place on the
    /// screen then, whatever the application says; asking for it anyway is what makes applications with large
    /// menus slow to read. Goes by what is known; loadVisibility() makes that enough.
    bool isHidden(std::uint32_t index) const;

    /// Reads what isHidden() needs.
    void loadVisibility(std::uint32_t index);

  private:
    struct Peer {
        std::string busName;
        std::optional<pid_t> pid;
        BusConnection* connection;
        // A private connection has one object tree behind it and takes no bus name.
        bool direct;
        std::unordered_map<std::string, std::uint32_t> nodes;
    };

    /// A bulk load under way.
    struct Sweep {
        // Tells this load's visits from those of the loads before.
        std::uint32_t number = 0;
        bool values = false;
        bool states = false;
        bool extents = false;
        PrefetchScope scope{};
        std::size_t visited = 0;
    };

    /// The form of an application's list of its objects; see AtspiSweep.cpp.
    struct CacheShape;
    /// How many objects in such a list name a node as their parent.
    using ListedChildren = std::unordered_map<std::uint32_t, std::int32_t>;

    /// The parts of a child list that is read one child at a time.
    struct SlowChildren {
        std::size_t missing;
        std::vector<std::optional<std::uint32_t>> found;
    };

    bool connect();
    PeerConnectionPool::Application application() const { return {pid_, peers_[0].busName}; }
    void openPeerConnections();
    BusConnection& nextConnection(const Peer& peer);
    void serve();
    Act act(std::uint32_t index, SdBusMessage call);
    std::vector<std::string> actionNames(std::uint32_t index);
    std::optional<std::string> currentText(std::uint32_t index);
    bool hasFocus(std::uint32_t index);
    bool awaitText(std::uint32_t index, const std::optional<std::string>& before, const std::string& text);
    std::optional<std::uint32_t> peerNamed(const std::string& busName);
    std::optional<std::uint32_t> nodeAt(std::uint32_t peer, const std::string& path);
    std::optional<std::uint32_t> readReference(sd_bus_message* message, std::uint32_t peer);

    SdBusMessage newCall(std::uint32_t index, AtspiCall call);
    void send(std::uint32_t index, SdBusMessage message, ReplyHandler handler);

    void ask(std::uint32_t index, AtspiPart part);
    bool isOfGTK4(std::uint32_t index) const;
    void askName(std::uint32_t index);
    void askChildCount(std::uint32_t index);
    void askAccessibleId(std::uint32_t index);
    void askRole(std::uint32_t index);
    void askStates(std::uint32_t index);
    void askExtents(std::uint32_t index);
    void askText(std::uint32_t index);
    void askTextUpTo(std::uint32_t index, std::int32_t end);
    void askChildren(std::uint32_t index);
    void askChildList(std::uint32_t index);
    void askChildrenOneByOne(std::uint32_t index);

    void settle(std::uint32_t index, AtspiPart part, CallOutcome outcome, bool understood);
    void adopt(std::uint32_t index);
    bool takeRoom(std::size_t bytes);
    bool keep(std::string& field, const char* text);

    void loadCache();
    void readCacheItems(sd_bus_message* reply, const CacheShape& shape);
    bool readCacheItem(sd_bus_message* reply, const CacheShape& shape, ListedChildren& listed);
    static std::optional<std::int32_t> readCachedChildCount(sd_bus_message* reply, const CacheShape& shape);
    std::size_t sweep(std::uint32_t index, const Sweep& plan);
    bool isDormant() const;
    bool hasEmptyDocument() const;
    void wake(const Sweep& plan);
    void askWindowsForAttributes();
    void visit(std::uint32_t index);
    void continueSweep(std::uint32_t index, AtspiPart part);
    void askValue(std::uint32_t index);
    void askExtentsOnceItMayHaveThem(std::uint32_t index);

    AtspiBus& bus_;
    const pid_t pid_;
    Deadline deadline_;
    bool connected_ = false;
    bool reachable_ = false;
    std::optional<AtspiBus::Lease> lease_;
    AtspiToolkit toolkit_;
    std::string directAddress_;
    // Connections past the bus, all to the application itself; the first is there from the beginning. An
    // application takes one message of each connection in a turn of its main loop, so that bulk loads are
    // faster over several.
    std::vector<std::unique_ptr<BusConnection>> peerConnections_;
    std::size_t turn_ = 0;
    std::vector<Peer> peers_;
    // A deque, so that a node stays where it is while others are added.
    std::deque<AtspiNode> nodes_;
    std::size_t textBytes_ = 0;
    std::optional<Sweep> sweep_;
    std::uint32_t sweeps_ = 0;
};

}  // namespace varkel
