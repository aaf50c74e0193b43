#pragma once

#include <chrono>
#include <cstdint>
#include <list>

#include "platform/linux/wayland/WaylandConnection.h"

struct wl_output;
struct zxdg_output_v1;
struct zxdg_output_manager_v1;

namespace varkel {

/// A rectangle in the compositor's own units, which are what frames and clicks are in.
struct LayoutArea {
    std::int32_t x = 0;
    std::int32_t y = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;
};

/// The smallest area that holds both; an empty one holds nothing.
LayoutArea joined(const LayoutArea& a, const LayoutArea& b);

/// The outputs of a connection and where they are. One thread at a time; goes before the connection.
class WaylandOutputs {
  public:
    struct Output {
        wl_output* output = nullptr;
        zxdg_output_v1* logical = nullptr;
        LayoutArea area;
        /// How it is turned, as wl_output has it.
        std::int32_t transform = 0;
    };

    WaylandOutputs() = default;
    WaylandOutputs(const WaylandOutputs&) = delete;
    WaylandOutputs& operator=(const WaylandOutputs&) = delete;
    ~WaylandOutputs() { clear(); }

    /// Finds out anew where the outputs are. False when the compositor did not tell in time.
    bool load(WaylandConnection& connection, std::chrono::steady_clock::time_point deadline);
    void clear();

    const std::list<Output>& all() const { return outputs_; }
    /// All of them together.
    LayoutArea layout() const;

  private:
    std::list<Output> outputs_;
    zxdg_output_manager_v1* manager_ = nullptr;
};

}  // namespace varkel
