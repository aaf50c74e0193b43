#include "mcp/Snapshot.h"

#include <algorithm>
#include <deque>
#include <string_view>
#include <utility>
#include <vector>

#include "mcp/Text.h"

namespace varkel::mcp {

namespace {

/// So many neighbours of one role make a list, of which the first few are as good as all.
constexpr std::size_t listLength = 20;
constexpr std::size_t firstOfList = 10;
constexpr std::size_t usualValue = 200;
/// The room that "+12,345 inside" takes.
constexpr std::size_t markRoom = 16;

struct Node {
    const Element* element = nullptr;
    std::vector<Node> children;
    std::size_t level = 0;
    /// Nodes in here, this one too.
    std::size_t size = 1;
    /// The lists among its children.
    std::string lists;
    /// Made when its turn comes: of most nodes of a large tree it never does.
    std::string line;
    bool isLateInList = false;
    bool shown = false;
};

/// Takes out of a tree what is not to be shown however much room there is.
class Pruning {
  public:
    explicit Pruning(const SnapshotOptions& options) : options_(options) {}

    std::optional<Node> prune(const Element& element, std::size_t level) {
        Node node;
        node.element = &element;
        if (options_.depth && level >= *options_.depth) {
            for (const Element& child : element.children) tooDeep_ += countElements(child);
        } else {
            for (const Element& child : element.children) {
                if (auto kept = prune(child, level + 1)) node.children.push_back(std::move(*kept));
            }
        }
        const bool isRoot = level == 0;
        if (isRoot || options_.all) return node;
        if (!isWanted(element)) {
            if (node.children.empty()) return std::nullopt;
            // Containers in containers tell nothing.
            if (saysNothing(element) && node.children.size() == 1) return std::move(node.children.front());
        }
        return node;
    }

    std::size_t tooDeep() const { return tooDeep_; }

  private:
    bool isWanted(const Element& element) const {
        if (options_.role && element.role != *options_.role) return false;
        if (options_.text && !containsIgnoringCase(element.label, *options_.text) &&
            !containsIgnoringCase(element.value, *options_.text)) {
            return false;
        }
        return options_.role || options_.text || !saysNothing(element);
    }

    const SnapshotOptions& options_;
    std::size_t tooDeep_ = 0;
};

/// Notes how many children of one role follow each other, and which of them come late.
std::string markLists(Node& node) {
    std::string counts;
    auto& children = node.children;
    for (std::size_t begin = 0; begin < children.size();) {
        std::size_t end = begin;
        const std::string_view role = children[begin].element->role;
        while (end < children.size() && children[end].element->role == role) ++end;
        if (end - begin >= listLength) {
            counts += concat(" [", withCommas(end - begin), " ", plainWord(role), "]");
            for (std::size_t i = begin + firstOfList; i < end; ++i) children[i].isLateInList = true;
        }
        begin = end;
    }
    return counts;
}

void prepare(Node& node, std::size_t level) {
    node.level = level;
    node.lists = markLists(node);
    for (Node& child : node.children) {
        prepare(child, level + 1);
        node.size += child.size;
    }
}

std::size_t roomFor(const Node& node) {
    return node.level + countCharacters(node.line) + 1 + (node.children.empty() ? 0 : markRoom);
}

/// Marks what fits as shown, level by level; what comes late in a list waits until the rest has been dealt
/// out.
std::size_t dealOut(Node& root, std::size_t room) {
    // A value is shown with as much of it as fits when its element is asked for by itself.
    const std::size_t longestOfRoot = root.element->children.empty() ? room : usualValue;
    std::deque<Node*> now{&root};
    std::deque<Node*> later;
    std::size_t shown = 0;
    while (!now.empty() || !later.empty()) {
        if (now.empty()) now.swap(later);
        Node& node = *now.front();
        now.pop_front();
        const std::size_t longest = &node == &root ? longestOfRoot : usualValue;
        node.line = describe(*node.element, Place::hidden, longest) + node.lists;
        const std::size_t needed = roomFor(node);
        // The first one always has room, so that no answer is empty.
        if (needed > room && shown > 0) return shown;
        room -= std::min(room, needed);
        node.shown = true;
        ++shown;
        for (Node& child : node.children) (child.isLateInList ? later : now).push_back(&child);
    }
    return shown;
}

/// Appends the shown nodes' lines.
void write(const Node& node, std::string& out) {
    std::size_t missing = 0;
    for (const Node& child : node.children) missing += child.shown ? 0 : child.size;
    out.append(node.level, ' ');
    out += node.line;
    // What is missing further down is told by the lines there.
    if (missing > 0) out += concat(" +", withCommas(missing), " inside");
    out += '\n';
    for (const Node& child : node.children) {
        if (child.shown) write(child, out);
    }
}

}  // namespace

Snapshot makeSnapshot(const Element& root, const SnapshotOptions& options) {
    Pruning pruning(options);
    Node tree = *pruning.prune(root, 0);
    prepare(tree, 0);

    Snapshot snapshot;
    snapshot.elements = countElements(root);
    snapshot.shown = dealOut(tree, options.maxCharacters);
    write(tree, snapshot.text);
    snapshot.noRoom = tree.size - snapshot.shown + pruning.tooDeep();
    snapshot.leftOut = snapshot.elements - snapshot.shown - snapshot.noRoom;
    return snapshot;
}

}  // namespace varkel::mcp
