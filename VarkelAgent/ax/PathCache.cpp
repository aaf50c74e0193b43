#include "ax/PathCache.h"

#include <utility>

#include "ax/ElementId.h"

namespace varkel {

namespace {

/// Adds up to `room` ids below and including `info`.
void collect(const AXElementInfo& info, const std::string& path, std::size_t room,
             std::unordered_map<std::string, std::string>& paths) {
    if (paths.size() >= room) return;
    paths.emplace(info.id, path);
    if (!info.children) return;
    for (const AXElementInfo& child : *info.children) {
        collect(child, childPath(path, child.position), room, paths);
    }
}

}  // namespace

PathCache& PathCache::shared() {
    static PathCache cache;
    return cache;
}

void PathCache::insert(const AXElementInfo& tree) {
    Paths inserted;
    collect(tree, "0", capacity_ / 2, inserted);
    const std::scoped_lock lock(mutex_);
    if (young_.size() + inserted.size() > capacity_ / 2) old_ = std::exchange(young_, {});
    young_.merge(inserted);
}

std::optional<std::string> PathCache::pathOf(const std::string& elementId) const {
    const std::scoped_lock lock(mutex_);
    for (const Paths* paths : {&young_, &old_}) {
        const auto found = paths->find(elementId);
        if (found != paths->end()) return found->second;
    }
    return std::nullopt;
}

}  // namespace varkel
