#pragma once

#include <chrono>
#include <cstdint>
#include <list>
#include <string>

#include "platform/linux/wayland/WaylandConnection.h"
#include "platform/linux/windows/WindowSystem.h"

struct zwlr_foreign_toplevel_handle_v1;
struct zwlr_foreign_toplevel_manager_v1;

namespace varkel {

/// The windows of all applications, as a compositor lists them for task bars. What has changed is taken in
/// with the connection's events, so all of it is current once the connection has been synchronised. One
/// thread at a time; goes before the connection.
class ForeignToplevels {
  public:
    struct Toplevel {
        zwlr_foreign_toplevel_handle_v1* handle = nullptr;
        /// Given to no other one as long as this object lives.
        WindowId id = 0;
        std::string title;
        std::string applicationId;
        /// Has the keyboard, as far as windows do.
        bool activated = false;
    };

    ForeignToplevels() = default;
    ForeignToplevels(const ForeignToplevels&) = delete;
    ForeignToplevels& operator=(const ForeignToplevels&) = delete;
    ~ForeignToplevels() { clear(); }

    static bool isOffered(const WaylandConnection& connection);

    /// Begins to follow the windows. False when the compositor does not list them.
    bool open(WaylandConnection& connection, WaylandConnection::Clock::time_point deadline);
    bool isOpen() const { return manager_ != nullptr; }
    void clear();

    /// The one activated last at the end.
    const std::list<Toplevel>& all() const { return toplevels_; }
    /// Null when none has the keyboard.
    const Toplevel* activated() const;
    /// 0 when none has.
    WindowId activatedId() const { return activated() == nullptr ? 0 : activated()->id; }
    /// Null when it is gone.
    const Toplevel* find(WindowId id) const;

    /// The one that was the last to cease to be activated; it may be gone.
    WindowId lastDeactivated() const { return lastDeactivated_; }

    /// Has been another number since one became activated, or ceased to be.
    std::uint64_t changes() const { return changes_; }

  private:
    struct Listeners;

    Toplevel* entryOf(zwlr_foreign_toplevel_handle_v1* handle);
    void add(zwlr_foreign_toplevel_handle_v1* handle);
    void remove(zwlr_foreign_toplevel_handle_v1* handle);
    void setActivated(zwlr_foreign_toplevel_handle_v1* handle, bool activated);

    zwlr_foreign_toplevel_manager_v1* manager_ = nullptr;
    std::list<Toplevel> toplevels_;
    WindowId lastId_ = 0;
    WindowId lastDeactivated_ = 0;
    std::uint64_t changes_ = 0;
};

}  // namespace varkel
