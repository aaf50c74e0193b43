#include "platform/linux/wayland/ForeignToplevels.h"

#include <foreign-toplevel-v1-client.h>

#include <algorithm>
#include <cstddef>
#include <span>
#include <utility>

namespace varkel {

namespace {

/// More windows than a person opens.
constexpr std::size_t maxToplevels = 4096;
constexpr std::uint32_t activatedState = 2;

bool holds(const wl_array& states, std::uint32_t wanted) {
    if (states.data == nullptr) return false;
    const std::span all(static_cast<const std::uint32_t*>(states.data), states.size / sizeof(wanted));
    return std::ranges::find(all, wanted) != all.end();
}

}  // namespace

/// What the compositor tells. The parts of a window are told one by one; nothing here needs them to agree.
struct ForeignToplevels::Listeners {
    using Handle = zwlr_foreign_toplevel_handle_v1;

    static ForeignToplevels& all(void* self) { return *static_cast<ForeignToplevels*>(self); }

    static void takeToplevel(void* self, zwlr_foreign_toplevel_manager_v1* /*manager*/, Handle* handle) {
        all(self).add(handle);
    }
    static void takeEnd(void* /*self*/, zwlr_foreign_toplevel_manager_v1* /*manager*/) {}

    static void takeTitle(void* self, Handle* handle, const char* title) {
        if (Toplevel* entry = all(self).entryOf(handle)) entry->title = title;
    }
    static void takeApplication(void* self, Handle* handle, const char* id) {
        if (Toplevel* entry = all(self).entryOf(handle)) entry->applicationId = id;
    }
    static void takeState(void* self, Handle* handle, wl_array* states) {
        all(self).setActivated(handle, holds(*states, activatedState));
    }
    static void takeClosed(void* self, Handle* handle) { all(self).remove(handle); }
    static void ignoreOutput(void* /*self*/, Handle* /*handle*/, wl_output* /*output*/) {}
    static void ignoreDone(void* /*self*/, Handle* /*handle*/) {}
    static void ignoreParent(void* /*self*/, Handle* /*handle*/, Handle* /*parent*/) {}

    static constexpr zwlr_foreign_toplevel_manager_v1_listener ofManager{takeToplevel, takeEnd};
    static constexpr zwlr_foreign_toplevel_handle_v1_listener ofHandle{
        takeTitle, takeApplication, ignoreOutput, ignoreOutput,
        takeState, ignoreDone,      takeClosed,   ignoreParent};
};

bool ForeignToplevels::isOffered(const WaylandConnection& connection) {
    return connection.offers(zwlr_foreign_toplevel_manager_v1_interface.name);
}

bool ForeignToplevels::open(WaylandConnection& connection, WaylandConnection::Clock::time_point deadline) {
    clear();
    manager_ =
        connection.bind<zwlr_foreign_toplevel_manager_v1>(zwlr_foreign_toplevel_manager_v1_interface, 3);
    if (manager_ == nullptr) return false;
    zwlr_foreign_toplevel_manager_v1_add_listener(manager_, &Listeners::ofManager, this);
    return connection.synchronise(deadline);
}

void ForeignToplevels::clear() {
    for (const Toplevel& each : toplevels_) zwlr_foreign_toplevel_handle_v1_destroy(each.handle);
    toplevels_.clear();
    ++changes_;
    if (manager_ != nullptr) zwlr_foreign_toplevel_manager_v1_destroy(std::exchange(manager_, nullptr));
}

const ForeignToplevels::Toplevel* ForeignToplevels::activated() const {
    const auto found = std::find_if(toplevels_.rbegin(), toplevels_.rend(),
                                    [](const Toplevel& each) { return each.activated; });
    return found == toplevels_.rend() ? nullptr : &*found;
}

const ForeignToplevels::Toplevel* ForeignToplevels::find(WindowId id) const {
    const auto found = std::ranges::find(toplevels_, id, &Toplevel::id);
    return found == toplevels_.end() ? nullptr : &*found;
}

ForeignToplevels::Toplevel* ForeignToplevels::entryOf(zwlr_foreign_toplevel_handle_v1* handle) {
    const auto found = std::ranges::find(toplevels_, handle, &Toplevel::handle);
    return found == toplevels_.end() ? nullptr : &*found;
}

void ForeignToplevels::add(zwlr_foreign_toplevel_handle_v1* handle) {
    if (toplevels_.size() >= maxToplevels) return zwlr_foreign_toplevel_handle_v1_destroy(handle);
    toplevels_.push_front({handle, ++lastId_, {}, {}, false});
    zwlr_foreign_toplevel_handle_v1_add_listener(handle, &Listeners::ofHandle, this);
}

void ForeignToplevels::remove(zwlr_foreign_toplevel_handle_v1* handle) {
    setActivated(handle, false);
    std::erase_if(toplevels_, [handle](const Toplevel& each) { return each.handle == handle; });
    zwlr_foreign_toplevel_handle_v1_destroy(handle);
}

void ForeignToplevels::setActivated(zwlr_foreign_toplevel_handle_v1* handle, bool activated) {
    const auto entry = std::ranges::find(toplevels_, handle, &Toplevel::handle);
    if (entry == toplevels_.end() || entry->activated == activated) return;
    entry->activated = activated;
    ++changes_;
    if (!activated) lastDeactivated_ = entry->id;
    if (activated) toplevels_.splice(toplevels_.end(), toplevels_, entry);
}

}  // namespace varkel
