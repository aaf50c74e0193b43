#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/linux/wayland/InputDevices.h"
#include "platform/linux/wayland/Portal.h"
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
    struct KeyName {
        const char* member = nullptr;
        std::uint32_t number = 0;
    };

    void introduce(Deadline deadline);
    std::vector<SdBusMessage> callsFor(std::span<const KeyName> keys);
    bool isOneLayout() const { return layouts_ != nullptr && layouts_->layouts() == 1; }

    SessionBus bus_;
    SeatLayouts seat_;
    /// Those of the seat, null when they are not known.
    const SeatKeymap* layouts_ = nullptr;
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

/// The interface of the desktop's portal, which asks the person first: each time, or once where it remembers
/// what it was told (from the interface's second version on).
class PortalRemoteDesktop : public RemoteDesktop {
  public:
    bool isOffered(Deadline deadline) override;
    bool remembers() const { return version_ >= 2; }

  protected:
    bool isStarted(Deadline deadline) override;
    void start(Deadline deadline) override;
    SdBusMessage keyCall(const char* member, std::uint32_t number, bool down) override;
    SdBusMessage buttonCall(bool down) override;
    SdBusMessage wheelCall(std::uint32_t axis, std::int32_t steps) override;
    SdBusMessage motionCall(CGPoint point, Deadline deadline) override;

  private:
    /// A screen that the person shares.
    struct Stream {
        std::uint32_t node = 0;
        std::int32_t x = 0;
        std::int32_t y = 0;
        std::int32_t width = 0;
        std::int32_t height = 0;
    };

    static EventError refusal();
    void createSession(Portal& portal, Deadline deadline);
    void selectDevices(Portal& portal, Deadline deadline);
    void selectScreens(Portal& portal, Deadline deadline);
    void takeResults(sd_bus_message* results);
    bool takeStreams(sd_bus_message* results);
    SdBusMessage newSessionCall(const char* member);

    std::uint32_t version_ = 0;
    std::string session_;
    std::vector<Stream> streams_;
    Deadline refusedUntil_ = Deadline::in(Deadline::Duration::zero());
};

/// What a person should know of the portal, as a line of WindowSystem::describeSession(); empty where there
/// is none that lends devices. Blocks for a second at the most.
std::string describePortal();

}  // namespace varkel
