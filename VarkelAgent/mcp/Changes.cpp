#include "mcp/Changes.h"

#include <map>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <utility>

#include "mcp/Text.h"

namespace varkel::mcp {

namespace {

using Key = std::tuple<std::string_view, std::string_view, std::string_view>;
constexpr std::size_t longestValue = 100;

Key keyOf(const Element& element) {
    return {element.role, element.identifier, element.label};
}

bool sameFrame(const Element& a, const Element& b) {
    if (!a.frame || !b.frame) return a.frame.has_value() == b.frame.has_value();
    return a.frame->x == b.frame->x && a.frame->y == b.frame->y && a.frame->width == b.frame->width &&
           a.frame->height == b.frame->height;
}

class Comparison {
  public:
    void compare(const Element& before, const Element& after) {
        const bool changed = compareSelf(before, after);
        if (!changed && before.id != after.id) ++changes_.renumbered;
        if (!changed && before.id == after.id && !sameFrame(before, after)) ++changes_.moved;
        compareChildren(before.children, after.children);
    }

    /// What is there now is of more use than what is not there any more, and comes first.
    Changes take() && {
        for (std::string& line : gone_) add(changes_.lines, std::move(line));
        return std::move(changes_);
    }

  private:
    using Pairs = std::vector<const Element*>;

    void add(std::vector<std::string>& lines, std::string line) {
        if (lines.size() < mostChanges) {
            lines.push_back(std::move(line));
        } else {
            ++changes_.more;
        }
    }

    bool compareSelf(const Element& before, const Element& after) {
        std::string was;
        if (before.label != after.label) was += concat(" was ", quoted(before.label, longestValue));
        if (before.value != after.value) was += concat(" value was ", quoted(before.value, longestValue));
        if (before.disabled != after.disabled) was += after.disabled ? " was enabled" : " was disabled";
        // The element that gets the focus is told; that another one loses it goes without saying.
        const bool gotFocus = after.focused && !before.focused;
        if (was.empty() && !gotFocus) return false;
        add(changes_.lines, concat("changed ", describe(after, Place::hidden, longestValue),
                                   was.empty() ? std::string() : concat(" (", was.substr(1), ")")));
        return true;
    }

    void compareChildren(const std::vector<Element>& before, const std::vector<Element>& after) {
        const Pairs partners = pairUp(before, after);
        std::vector<bool> stayed(before.size());
        for (const Element* partner : partners) {
            if (partner) stayed[static_cast<std::size_t>(partner - before.data())] = true;
        }
        for (std::size_t i = 0; i < before.size(); ++i) {
            if (!stayed[i]) addGone(before[i]);
        }
        for (std::size_t i = 0; i < after.size(); ++i) {
            if (partners[i]) {
                compare(*partners[i], after[i]);
            } else {
                addNew(after[i], 0);
            }
        }
    }

    /// For each element that is there now the one that it was before, or nullptr: by its id, then by its name
    /// among what is left, then by its role and position.
    static Pairs pairUp(const std::vector<Element>& before, const std::vector<Element>& after) {
        Pairs partners(after.size(), nullptr);
        std::vector<bool> taken(before.size());
        std::unordered_map<std::string_view, std::size_t> byId;
        for (std::size_t i = 0; i < before.size(); ++i) byId.emplace(before[i].id, i);
        for (std::size_t i = 0; i < after.size(); ++i) {
            const auto found = byId.find(after[i].id);
            if (found == byId.end() || taken[found->second]) continue;
            taken[found->second] = true;
            partners[i] = &before[found->second];
        }
        std::multimap<Key, std::size_t> byName;
        for (std::size_t i = 0; i < before.size(); ++i) {
            if (!taken[i]) byName.emplace(keyOf(before[i]), i);
        }
        for (std::size_t i = 0; i < after.size() && !byName.empty(); ++i) {
            if (partners[i]) continue;
            const auto found = byName.find(keyOf(after[i]));
            if (found == byName.end()) continue;
            taken[found->second] = true;
            partners[i] = &before[found->second];
            byName.erase(found);
        }
        for (std::size_t i = 0; i < after.size() && i < before.size(); ++i) {
            if (partners[i] || taken[i] || before[i].role != after[i].role) continue;
            taken[i] = true;
            partners[i] = &before[i];
        }
        return partners;
    }

    void addGone(const Element& element) {
        const std::size_t inside = countElements(element) - 1;
        if (inside == 0 && saysNothing(element)) return;
        add(gone_, concat("gone ", describe(element, Place::hidden, longestValue),
                          inside > 0 ? concat(" and ", withCommas(inside), " inside") : std::string()));
    }

    void addNew(const Element& element, std::size_t level) {
        const bool counts = !saysNothing(element);
        if (counts)
            add(changes_.lines,
                concat("new ", std::string(level, ' '), describe(element, Place::hidden, longestValue)));
        for (const Element& child : element.children) addNew(child, level + (counts ? 1 : 0));
    }

    Changes changes_;
    std::vector<std::string> gone_;
};

}  // namespace

Changes compareTrees(const Element& before, const Element& after) {
    Comparison comparison;
    comparison.compare(before, after);
    return std::move(comparison).take();
}

}  // namespace varkel::mcp
