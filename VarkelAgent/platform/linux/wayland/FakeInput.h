#pragma once

#include <optional>
#include <utility>
#include <vector>

#include "platform/linux/wayland/InputDevices.h"
#include "platform/linux/wayland/SeatKeymap.h"
#include "platform/linux/wayland/SessionBus.h"
#include "platform/linux/wayland/WaylandConnection.h"

struct org_kde_kwin_fake_input;

namespace varkel {

/// Devices by the protocol of Plasma's compositor. It offers it to programs alone that it trusts: those whose
/// desktop entry asks for it.
class FakeInput : public InputDevices {
  public:
    ~FakeInput() override { disconnect(); }

    bool isOffered(Deadline deadline) override;
    bool open(Deadline deadline) override;
    void readLayout(Deadline deadline) override;
    bool hasKey(xkb_keysym_t keysym) override { return find(keysym).has_value(); }
    void press(xkb_keysym_t keysym, std::span<const xkb_keysym_t> modifiers, Deadline deadline) override;
    void moveTo(CGPoint point, Deadline deadline) override;
    void button(bool down, Deadline deadline) override;
    void turnWheel(std::int32_t vertical, std::int32_t horizontal, Deadline deadline) override;

  private:
    std::optional<SeatKeymap::Stroke> find(xkb_keysym_t keysym) const;
    xkb_layout_index_t activeLayout(Deadline deadline);
    void disconnect();
    void complete(Deadline deadline);

    SessionBus bus_;
    WaylandConnection connection_;
    org_kde_kwin_fake_input* devices_ = nullptr;
    SeatLayouts seat_;
    /// Those of the seat, null when they are not known.
    const SeatKeymap* layouts_ = nullptr;
    xkb_layout_index_t layout_ = 0;
};

}  // namespace varkel
