#include "platform/linux/wayland/WaylandOutputs.h"

#include <xdg-output-unstable-v1-client.h>

#include <algorithm>
#include <utility>

namespace varkel {

namespace {

void takePosition(void* output, zxdg_output_v1* /*logical*/, std::int32_t x, std::int32_t y) {
    LayoutArea& area = static_cast<WaylandOutputs::Output*>(output)->area;
    area.x = x;
    area.y = y;
}

void takeSize(void* output, zxdg_output_v1* /*logical*/, std::int32_t width, std::int32_t height) {
    LayoutArea& area = static_cast<WaylandOutputs::Output*>(output)->area;
    area.width = width;
    area.height = height;
}

void ignoreDone(void* /*output*/, zxdg_output_v1* /*logical*/) {}
void ignoreText(void* /*output*/, zxdg_output_v1* /*logical*/, const char* /*text*/) {}

void takeGeometry(void* output, wl_output* /*object*/, std::int32_t /*x*/, std::int32_t /*y*/,
                  std::int32_t /*width*/, std::int32_t /*height*/, std::int32_t /*subpixel*/,
                  const char* /*make*/, const char* /*model*/, std::int32_t transform) {
    static_cast<WaylandOutputs::Output*>(output)->transform = transform;
}
void ignoreMode(void* /*output*/, wl_output* /*object*/, std::uint32_t /*flags*/, std::int32_t /*width*/,
                std::int32_t /*height*/, std::int32_t /*refresh*/) {}
void ignoreEnd(void* /*output*/, wl_output* /*object*/) {}
void ignoreScale(void* /*output*/, wl_output* /*object*/, std::int32_t /*scale*/) {}

constexpr wl_output_listener outputListener{takeGeometry, ignoreMode, ignoreEnd,
                                            ignoreScale,  nullptr,    nullptr};

/// What is only destroyed stays with the compositor as long as the connection does.
void release(wl_output* output) {
    if (wl_output_get_version(output) >= WL_OUTPUT_RELEASE_SINCE_VERSION) return wl_output_release(output);
    wl_output_destroy(output);
}

constexpr zxdg_output_v1_listener listener{takePosition, takeSize, ignoreDone, ignoreText, ignoreText};

}  // namespace

LayoutArea joined(const LayoutArea& a, const LayoutArea& b) {
    if (a.width <= 0 || a.height <= 0) return b;
    if (b.width <= 0 || b.height <= 0) return a;
    const std::int32_t left = std::min(a.x, b.x);
    const std::int32_t top = std::min(a.y, b.y);
    return {left, top, std::max(a.x + a.width, b.x + b.width) - left,
            std::max(a.y + a.height, b.y + b.height) - top};
}

bool WaylandOutputs::load(WaylandConnection& connection, std::chrono::steady_clock::time_point deadline) {
    clear();
    manager_ = connection.bind<zxdg_output_manager_v1>(zxdg_output_manager_v1_interface, 2);
    if (manager_ == nullptr) return false;
    for (wl_output* output :
         connection.bindAll<wl_output>(wl_output_interface, WL_OUTPUT_RELEASE_SINCE_VERSION)) {
        Output& entry = outputs_.emplace_back();
        entry.output = output;
        wl_output_add_listener(output, &outputListener, &entry);
        entry.logical = zxdg_output_manager_v1_get_xdg_output(manager_, output);
        zxdg_output_v1_add_listener(entry.logical, &listener, &entry);
    }
    return connection.synchronise(deadline);
}

void WaylandOutputs::clear() {
    for (const Output& each : outputs_) {
        if (each.logical != nullptr) zxdg_output_v1_destroy(each.logical);
        if (each.output != nullptr) release(each.output);
    }
    outputs_.clear();
    if (manager_ != nullptr) zxdg_output_manager_v1_destroy(std::exchange(manager_, nullptr));
}

LayoutArea WaylandOutputs::layout() const {
    LayoutArea all;
    for (const Output& each : outputs_) all = joined(all, each.area);
    return all;
}

}  // namespace varkel
