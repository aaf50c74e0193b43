#include <fcntl.h>

#include <array>
#include <deque>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "base/FileDescriptor.h"
#include "platform/EventPoster.h"
#include "platform/linux/wayland/Clipboard.h"
#include "platform/linux/wayland/Pipes.h"
#include "platform/linux/wayland/SessionBus.h"

namespace varkel {

namespace {

using std::chrono::milliseconds;

constexpr const char* service = "org.gnome.Mutter.RemoteDesktop";
constexpr const char* servicePath = "/org/gnome/Mutter/RemoteDesktop";
constexpr const char* sessionInterface = "org.gnome.Mutter.RemoteDesktop.Session";

/// What is kept of a clipboard: the first of these that it has.
constexpr std::array<const char*, 4> keptTypes{"text/plain;charset=utf-8", "UTF8_STRING", "text/plain",
                                               "image/png"};
constexpr std::size_t maxKept = 16 << 20;
/// How long the owner of the clipboard gets to hand out what is in it.
constexpr milliseconds keepingTime{500};
/// The desktop takes a copy of each new clipboard, at once.
constexpr milliseconds copyingTime{150};
/// How long it gets to complete its copy before it is looked at.
constexpr std::array copyingPatience{milliseconds(20), milliseconds(100), milliseconds(400)};
/// Between its having read the text and its having inserted it, an application tells nothing; a key that
/// comes meanwhile would go before the text.
constexpr milliseconds insertingTime{40};

class MutterClipboard : public Clipboard {
  public:
    MutterClipboard() {
        bus_.setHandler([this](sd_bus_message* message) { take(message); });
    }

    void paste(const std::string& text, const std::function<void()>& paste, Deadline deadline) override {
        if (!open(deadline)) throw EventError("The keyboard layout has no key for \"" + text + "\".");
        if (!kept_) kept_ = keep();
        offered_ = {{}, text};
        if (!offer({"text/plain;charset=utf-8", "UTF8_STRING", "text/plain"}, deadline))
            throw EventError("The desktop does not lend its clipboard.");
        serve(earlier(deadline, Deadline::in(copyingTime)));
        paste();
        if (!serve(deadline)) throw EventError("The application does not paste \"" + text + "\".");
        std::this_thread::sleep_for(insertingTime);
    }

    /// The desktop's own copy is what stays when this process lets go of the clipboard. Nothing tells when it
    /// is complete, so what stayed is read back.
    void restore(Deadline deadline) override {
        if (!kept_) return;
        const Contents kept = *std::exchange(kept_, std::nullopt);
        for (const milliseconds patience : copyingPatience) {
            offered_ = kept;
            if (!offer({kept.type.c_str()}, deadline)) break;
            serve(earlier(deadline, Deadline::in(keepingTime)));
            std::this_thread::sleep_for(patience);
            bus_.call(newSessionCall("DisableClipboard"), deadline);
            if (!enable(deadline) || keep().bytes == kept.bytes) break;
        }
        bus_.disconnect();
    }

  private:
    struct Contents {
        std::string type;
        std::string bytes;
    };

    bool open(Deadline deadline) {
        if (bus_.isConnected()) return true;
        transfers_.clear();
        kept_.reset();
        if (!bus_.connect(deadline)) return false;
        const auto made = bus_.call(bus_.newCall({service, servicePath, service, "CreateSession"}), deadline);
        const char* path = nullptr;
        if (!made || sd_bus_message_read(made.message.get(), "o", &path) < 0) return false;
        session_ = path;
        bus_.subscribe("type='signal',sender='" + std::string(service) + "',path='" + session_ + "'");
        const bool enabled = enable(deadline);
        if (!enabled) bus_.disconnect();
        return enabled;
    }

    bool enable(Deadline deadline) {
        SdBusMessage message = newSessionCall("EnableClipboard");
        if (message) sd_bus_message_append(message.get(), "a{sv}", 0);
        return static_cast<bool>(bus_.call(std::move(message), deadline));
    }

    SdBusMessage newSessionCall(const char* member) {
        return bus_.newCall({service, session_.c_str(), sessionInterface, member});
    }

    Contents keep() {
        const Deadline deadline = Deadline::in(keepingTime);
        for (const char* type : keptTypes) {
            SdBusMessage question = newSessionCall("SelectionRead");
            if (question) sd_bus_message_append(question.get(), "s", type);
            const FileDescriptor pipe = descriptorOf(bus_.call(std::move(question), deadline));
            auto bytes = pipe ? readPipe(pipe.get(), maxKept, deadline) : std::nullopt;
            if (bytes) return {type, *std::move(bytes)};
        }
        return {keptTypes.front(), {}};
    }

    static FileDescriptor descriptorOf(const SessionBus::Answer& answer) {
        int descriptor = -1;
        if (!answer || sd_bus_message_read(answer.message.get(), "h", &descriptor) < 0)
            return FileDescriptor();
        return FileDescriptor(fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
    }

    bool offer(const std::vector<const char*>& types, Deadline deadline) {
        transfers_.clear();
        SdBusMessage message = newSessionCall("SetSelection");
        bool made = message && sd_bus_message_open_container(message.get(), 'a', "{sv}") >= 0 &&
                    sd_bus_message_open_container(message.get(), 'e', "sv") >= 0 &&
                    sd_bus_message_append(message.get(), "s", "mime-types") >= 0 &&
                    sd_bus_message_open_container(message.get(), 'v', "as") >= 0 &&
                    sd_bus_message_open_container(message.get(), 'a', "s") >= 0;
        for (const char* type : types) made = made && sd_bus_message_append(message.get(), "s", type) >= 0;
        for (int open = 0; open < 4; ++open)
            made = made && sd_bus_message_close_container(message.get()) >= 0;
        return made && bus_.call(std::move(message), deadline);
    }

    /// Waits for someone to ask for what is offered, and hands it out.
    bool serve(Deadline deadline) {
        if (!bus_.processUntil([this] { return !transfers_.empty(); }, deadline)) return false;
        bool done = false;
        while (!transfers_.empty()) {
            const std::uint32_t serial = transfers_.front();
            transfers_.pop_front();
            SdBusMessage question = newSessionCall("SelectionWrite");
            if (question) sd_bus_message_append(question.get(), "u", serial);
            bool written = false;
            {
                const FileDescriptor pipe = descriptorOf(bus_.call(std::move(question), deadline));
                written = pipe && writePipe(pipe.get(), offered_.bytes, deadline);
            }
            SdBusMessage end = newSessionCall("SelectionWriteDone");
            if (end) sd_bus_message_append(end.get(), "ub", serial, written ? 1 : 0);
            bus_.call(std::move(end), deadline);
            done = done || written;
        }
        return done;
    }

    void take(sd_bus_message* message) {
        const char* type = nullptr;
        std::uint32_t serial = 0;
        if (sd_bus_message_is_signal(message, sessionInterface, "SelectionTransfer") > 0 &&
            sd_bus_message_read(message, "su", &type, &serial) > 0)
            transfers_.push_back(serial);
    }

    SessionBus bus_;
    std::string session_;
    Contents offered_;
    std::optional<Contents> kept_;
    std::deque<std::uint32_t> transfers_;
};

}  // namespace

std::unique_ptr<Clipboard> makeMutterClipboard() {
    return std::make_unique<MutterClipboard>();
}

}  // namespace varkel
