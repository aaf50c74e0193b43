#pragma once

#include <map>
#include <optional>
#include <string>

#include "platform/linux/wayland/InputDevices.h"
#include "platform/linux/wayland/SeatKeymap.h"
#include "platform/linux/wayland/SessionBus.h"

namespace varkel {

/// Devices that are played by calls on the session's bus.
class RemoteDesktop : public InputDevices {
  public:
    bool open(Deadline deadline) override;
    void readLayout(Deadline deadline) override;
    bool hasKey(xkb_keysym_t keysym) override;
    void press(xkb_keysym_t keysym, std::span<const xkb_keysym_t> modifiers, Deadline deadline) override;
    void moveTo(CGPoint point, Deadline deadline) override;
    void button(bool down, Deadline deadline) override;
    void turnWheel(std::int32_t vertical, std::int32_t horizontal, Deadline deadline) override;

  protected:
    /// Whether the session that start() began is still there.
    virtual bool isStarted(Deadline deadline) = 0;
    /// Begins one, or throws an EventError.
    virtual void start(Deadline deadline) = 0;
    virtual SdBusMessage keyCall(const char* member, std::uint32_t number, bool down) = 0;
    virtual SdBusMessage buttonCall(bool down) = 0;
    virtual SdBusMessage wheelCall(std::uint32_t axis, std::int32_t steps) = 0;
    /// Throws an EventError where no point of the screen can be named.
    virtual SdBusMessage motionCall(CGPoint point, Deadline deadline) = 0;

    /// Sends it, and all before it, and waits until it is carried out.
    void complete(SdBusMessage message, Deadline deadline);
    SessionBus& bus() { return bus_; }

  private:
    void introduce(Deadline deadline);

    SessionBus bus_;
    std::optional<SeatKeymap> layout_;
};

/// The interface of GNOME's compositor, which any program of the session may use.
class MutterRemoteDesktop : public RemoteDesktop {
  public:
    bool isOffered(Deadline deadline) override;

  protected:
    bool isStarted(Deadline deadline) override;
    void start(Deadline deadline) override;
    SdBusMessage keyCall(const char* member, std::uint32_t number, bool down) override;
    SdBusMessage buttonCall(bool down) override;
    SdBusMessage wheelCall(std::uint32_t axis, std::int32_t steps) override;
    SdBusMessage motionCall(CGPoint point, Deadline deadline) override;

  private:
    SdBusMessage newSessionCall(const char* member);
    bool openStream(Deadline deadline);

    std::string session_;
    /// Names the screen that points are of; it is never played.
    std::string stream_;
    /// Pixels of the stream to a unit of the screen.
    double scale_ = 1;
};

}  // namespace varkel
