#include <data-control-v1-client.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <list>
#include <optional>
#include <thread>
#include <utility>
#include <vector>

#include "base/FileDescriptor.h"
#include "base/StartThread.h"
#include "platform/EventPoster.h"
#include "platform/linux/wayland/Clipboard.h"
#include "platform/linux/wayland/Pipes.h"
#include "platform/linux/wayland/WaylandConnection.h"

namespace varkel {

namespace {

using std::chrono::milliseconds;
using Clock = WaylandConnection::Clock;

/// What is kept of a clipboard: the first of these that it has.
constexpr std::array<const char*, 4> keptTypes{"text/plain;charset=utf-8", "UTF8_STRING", "text/plain",
                                               "image/png"};
constexpr std::size_t maxKept = 16 << 20;
constexpr std::size_t maxTypes = 200;
constexpr milliseconds keepingTime{500};
/// How long one who reads the clipboard gets to read all of it.
constexpr milliseconds handingTime{1000};
/// Clipboard managers read each new clipboard, at once.
constexpr milliseconds copyingTime{100};
/// Between its having read the text and its having inserted it, an application tells nothing; a key that
/// comes meanwhile would go before the text.
constexpr milliseconds insertingTime{40};
/// How often the thread that hands out looks whether it is to end.
constexpr milliseconds endPoll{50};

struct Contents {
    std::string type;
    std::string bytes;
};

/// The clipboard by a protocol of the compositor's. What was put back is handed out by a thread, for as long
/// as nothing else is put there.
class DataControlClipboard : public Clipboard {
  public:
    ~DataControlClipboard() override {
        stopHandingOut();
        disconnect();
    }

    void paste(const std::string& text, const std::function<void()>& paste, Deadline deadline) override {
        stopHandingOut();
        if (!open(deadline)) throw EventError("The keyboard layout has no key for \"" + text + "\".");
        if (!kept_) kept_ = isOwn() ? offered_ : keep();
        offer({{}, text}, {"text/plain;charset=utf-8", "UTF8_STRING", "text/plain"});
        await([this] { return handedOut_ > 0; }, earlier(deadline, Deadline::in(copyingTime)));
        const int before = handedOut_;
        paste();
        if (!await([this, before] { return handedOut_ > before; }, deadline))
            throw EventError("The application does not paste \"" + text + "\".");
        std::this_thread::sleep_for(insertingTime);
    }

    void restore(Deadline /*deadline*/) override {
        if (!kept_) return;
        const Contents kept = *std::exchange(kept_, std::nullopt);
        if (!connection_.isConnected()) return;
        offer(kept, {kept.type.c_str()});
        ending_ = false;
        // Without a thread, what was kept is lost.
        if (!startThread(thread_, [this] { handOut(); })) disconnect();
    }

  private:
    /// What someone else has put on the clipboard.
    struct Offer {
        zwlr_data_control_offer_v1* object = nullptr;
        std::vector<std::string> types;
    };

    bool open(Deadline deadline) {
        const auto until = Clock::now() + deadline.left();
        if (connection_.isConnected() && connection_.synchronise(until)) return true;
        disconnect();
        kept_.reset();
        if (!connection_.connect(until)) return false;
        manager_ = connection_.bind<zwlr_data_control_manager_v1>(zwlr_data_control_manager_v1_interface, 1);
        seat_ = connection_.bind<wl_seat>(wl_seat_interface, 1);
        if (manager_ == nullptr || seat_ == nullptr) {
            disconnect();
            return false;
        }
        device_ = zwlr_data_control_manager_v1_get_data_device(manager_, seat_);
        static constexpr zwlr_data_control_device_v1_listener listener{addOffer, takeSelection, ignoreEnd};
        zwlr_data_control_device_v1_add_listener(device_, &listener, this);
        return connection_.synchronise(until);
    }

    void disconnect() {
        for (const Offer& each : offers_) zwlr_data_control_offer_v1_destroy(each.object);
        offers_.clear();
        selection_ = nullptr;
        if (source_ != nullptr) zwlr_data_control_source_v1_destroy(std::exchange(source_, nullptr));
        if (device_ != nullptr) zwlr_data_control_device_v1_destroy(std::exchange(device_, nullptr));
        if (manager_ != nullptr) zwlr_data_control_manager_v1_destroy(std::exchange(manager_, nullptr));
        if (seat_ != nullptr) wl_seat_destroy(std::exchange(seat_, nullptr));
        connection_.disconnect();
    }

    bool isOwn() const { return source_ != nullptr; }

    bool await(const std::function<bool()>& done, Deadline deadline) {
        return connection_.dispatchUntil(done, Clock::now() + deadline.left());
    }

    Contents keep() {
        const auto offer = std::ranges::find(offers_, selection_, &Offer::object);
        if (selection_ != nullptr && offer != offers_.end()) {
            for (const char* type : keptTypes) {
                if (std::ranges::find(offer->types, type) == offer->types.end()) continue;
                if (auto bytes = receive(*offer, type)) return {type, *std::move(bytes)};
            }
        }
        return {keptTypes.front(), {}};
    }

    std::optional<std::string> receive(const Offer& offer, const char* type) {
        std::array<int, 2> ends{-1, -1};
        if (pipe2(ends.data(), O_CLOEXEC) != 0) return std::nullopt;
        const FileDescriptor reader(ends[0]);
        FileDescriptor writer(ends[1]);
        const Deadline deadline = Deadline::in(keepingTime);
        zwlr_data_control_offer_v1_receive(offer.object, type, writer.get());
        if (!connection_.synchronise(Clock::now() + deadline.left())) return std::nullopt;
        writer.reset();
        return readPipe(reader.get(), maxKept, deadline);
    }

    void offer(const Contents& contents, const std::vector<const char*>& types) {
        offered_ = contents;
        handedOut_ = 0;
        zwlr_data_control_source_v1* old = source_;
        source_ = zwlr_data_control_manager_v1_create_data_source(manager_);
        static constexpr zwlr_data_control_source_v1_listener listener{send, cancel};
        zwlr_data_control_source_v1_add_listener(source_, &listener, this);
        for (const char* type : types) zwlr_data_control_source_v1_offer(source_, type);
        zwlr_data_control_device_v1_set_selection(device_, source_);
        if (old != nullptr) zwlr_data_control_source_v1_destroy(old);
    }

    /// Until something else is on the clipboard, or this object needs it again.
    void handOut() {
        while (!ending_ && isOwn()) {
            const auto until = Clock::now() + endPoll;
            const bool ended = connection_.dispatchUntil([this] { return ending_ || !isOwn(); }, until);
            if (!ended && Clock::now() < until) return;
        }
    }

    void stopHandingOut() {
        ending_ = true;
        if (thread_.joinable()) thread_.join();
    }

    static DataControlClipboard& self(void* data) { return *static_cast<DataControlClipboard*>(data); }

    static void addOffer(void* data, zwlr_data_control_device_v1* /*device*/,
                         zwlr_data_control_offer_v1* offer) {
        Offer& entry = self(data).offers_.emplace_back(Offer{offer, {}});
        static constexpr zwlr_data_control_offer_v1_listener listener{addType};
        zwlr_data_control_offer_v1_add_listener(offer, &listener, &entry);
    }

    static void addType(void* offer, zwlr_data_control_offer_v1* /*object*/, const char* type) {
        auto& types = static_cast<Offer*>(offer)->types;
        if (types.size() < maxTypes) types.emplace_back(type);
    }

    static void takeSelection(void* data, zwlr_data_control_device_v1* /*device*/,
                              zwlr_data_control_offer_v1* offer) {
        DataControlClipboard& own = self(data);
        own.selection_ = offer;
        std::erase_if(own.offers_, [offer](const Offer& each) {
            if (each.object == offer) return false;
            zwlr_data_control_offer_v1_destroy(each.object);
            return true;
        });
    }

    static void ignoreEnd(void* /*data*/, zwlr_data_control_device_v1* /*device*/) {}

    static void send(void* data, zwlr_data_control_source_v1* source, const char* /*type*/,
                     std::int32_t descriptor) {
        const FileDescriptor pipe(descriptor);
        DataControlClipboard& own = self(data);
        if (source == own.source_ && writePipe(pipe.get(), own.offered_.bytes, Deadline::in(handingTime)))
            ++own.handedOut_;
    }

    static void cancel(void* data, zwlr_data_control_source_v1* source) {
        DataControlClipboard& own = self(data);
        if (source != own.source_) return;
        zwlr_data_control_source_v1_destroy(std::exchange(own.source_, nullptr));
    }

    WaylandConnection connection_;
    zwlr_data_control_manager_v1* manager_ = nullptr;
    zwlr_data_control_device_v1* device_ = nullptr;
    wl_seat* seat_ = nullptr;
    std::list<Offer> offers_;
    zwlr_data_control_offer_v1* selection_ = nullptr;
    /// What this process has put there, null when it is no more what is there.
    zwlr_data_control_source_v1* source_ = nullptr;
    Contents offered_;
    int handedOut_ = 0;
    std::optional<Contents> kept_;
    std::atomic<bool> ending_ = false;
    std::thread thread_;
};

}  // namespace

std::unique_ptr<Clipboard> makeDataControlClipboard() {
    return std::make_unique<DataControlClipboard>();
}

}  // namespace varkel
