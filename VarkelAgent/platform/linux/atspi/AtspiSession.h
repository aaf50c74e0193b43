#pragma once

#include <sys/types.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/linux/atspi/AtspiConnections.h"
#include "platform/linux/atspi/AtspiNode.h"

namespace varkel {

/// One request's view of one application: its objects as they were read, and the means to read more. Nothing
/// is read twice, and nothing waits past the session's deadline. Belongs to one thread at a time.
class AtspiSession {
  public:
    AtspiSession(AtspiBus& bus, pid_t pid);
    AtspiSession(const AtspiSession&) = delete;
    AtspiSession& operator=(const AtspiSession&) = delete;
    ~AtspiSession() = default;

    /// The node of the application itself.
    static constexpr std::uint32_t rootNode = 0;

    const AtspiNode& node(std::uint32_t index) const { return nodes_[index]; }
    const std::deque<AtspiNode>& nodes() const { return nodes_; }

    /// The process that owns a node, or nothing when the bus does not say.
    std::optional<pid_t> pidOf(std::uint32_t index);

    /// Reads one part of a node unless it has been read. Returns whether the node has it.
    bool load(std::uint32_t index, AtspiPart part);

    /// Asks for several parts of several nodes, with all calls on their way at once.
    void load(std::span<const std::uint32_t> nodes, std::span<const AtspiPart> parts);

    /// Why a part of a node is not there.
    AXError reason(std::uint32_t index, AtspiPart part) const { return nodes_[index].reason(part); }

    /// Whether a node is known to be hidden, or in a menu or a list that is not open. It has no place on the
    /// screen then, whatever the application says; asking for it anyway is what makes applications with large
    /// menus slow to read. Goes by what is known; loadVisibility() makes that enough.
    bool isHidden(std::uint32_t index) const;

    /// Reads what isHidden() needs.
    void loadVisibility(std::uint32_t index);

    /// The application's toolkit by its own account; empty when it does not say.
    const std::string& toolkitName() const { return connections_.toolkit().name; }

    // What follows is for those that read in bulk or act. All but connect() need a session that is connected.

    /// Connects when that has not been tried; whether the application is there.
    bool connect();
    AtspiConnections& connections() { return connections_; }

    /// A call to a node, and its sending; see AtspiConnections.
    SdBusMessage newCall(std::uint32_t index, AtspiCall call);
    void send(std::uint32_t index, SdBusMessage message, ReplyHandler handler);

    /// Sends the calls that bring a part, unless it is known or on its way; connections().serve() waits.
    void ask(std::uint32_t index, AtspiPart part);

    /// Lets a part be read anew.
    void forget(std::uint32_t index, AtspiPart part) { nodes_[index].forget(part); }
    void forgetAll();

    /// For who learns of a node by other calls than ask(). Nodes stay where they are.
    AtspiNode& edit(std::uint32_t index) { return nodes_[index]; }

    /// The node at a path of a peer, made when there is none; nothing when the session has no room.
    std::optional<std::uint32_t> nodeAt(std::uint32_t peer, const std::string& path);

    /// Keeps a text that an application sent; false when the session has no room.
    bool keep(std::string& field, const char* text);

    /// Called within serve() with each part that has become known or is known to be missing. One at a time.
    using PartListener = std::function<void(std::uint32_t index, AtspiPart part)>;
    void listen(PartListener listener) { listener_ = std::move(listener); }

  private:
    /// The parts of a child list that is read one child at a time.
    struct SlowChildren {
        std::size_t missing;
        std::vector<std::optional<std::uint32_t>> found;
    };

    std::optional<std::uint32_t> readReference(sd_bus_message* message, std::uint32_t peer);

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

    void finish(std::uint32_t index, AtspiPart part, CallOutcome outcome, bool understood);
    void adopt(std::uint32_t index);
    bool takeRoom(std::size_t bytes);

    AtspiConnections connections_;
    const pid_t pid_;
    // A deque, so that a node stays where it is while others are added.
    std::deque<AtspiNode> nodes_;
    /// The nodes of each peer by their paths.
    std::vector<std::unordered_map<std::string, std::uint32_t>> paths_;
    std::size_t textBytes_ = 0;
    PartListener listener_;
};

}  // namespace varkel
