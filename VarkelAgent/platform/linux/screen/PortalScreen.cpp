#include "platform/linux/screen/PortalScreen.h"

#include <png.h>
#include <unistd.h>

#include <charconv>
#include <cstring>
#include <string_view>
#include <utility>

#include "base/ReadFile.h"
#include "platform/linux/screen/ScreenParts.h"
#include "platform/linux/wayland/Portal.h"

namespace varkel {

namespace {

constexpr const char* interface = "org.freedesktop.portal.Screenshot";

constexpr std::chrono::milliseconds connectLimit{2000};
/// A person may have to agree.
constexpr std::chrono::milliseconds personLimit{60'000};
constexpr std::size_t maxFile = 256 << 20;
constexpr std::uint32_t longestSide = 32'768;

/// The path of a URI for a file of this machine; empty for others.
std::string pathOf(std::string_view uri) {
    constexpr std::string_view scheme = "file://";
    if (!uri.starts_with(scheme)) return {};
    uri.remove_prefix(scheme.size());
    std::string path;
    for (std::size_t at = 0; at < uri.size(); ++at) {
        unsigned char byte = 0;
        const char* code = uri.data() + at + 1;
        if (uri[at] == '%' && at + 2 < uri.size() &&
            std::from_chars(code, code + 2, byte, 16).ptr == code + 2) {
            path += static_cast<char>(byte);
            at += 2;
        } else {
            path += uri[at];
        }
    }
    return path.starts_with('/') ? path : std::string();
}

/// The text "uri" among the results of a request.
std::string uriIn(sd_bus_message* results) {
    if (sd_bus_message_enter_container(results, 'a', "{sv}") < 0) return {};
    while (sd_bus_message_enter_container(results, 'e', "sv") > 0) {
        const char* name = nullptr;
        const char* uri = nullptr;
        if (sd_bus_message_read(results, "s", &name) < 0) return {};
        if (std::string_view(name) == "uri")
            return sd_bus_message_read(results, "v", "s", &uri) > 0 ? uri : std::string();
        if (sd_bus_message_skip(results, "v") < 0 || sd_bus_message_exit_container(results) < 0) return {};
    }
    return {};
}

ScreenImage decode(const std::string& bytes) {
    png_image header{};
    header.version = PNG_IMAGE_VERSION;
    const bool begun = png_image_begin_read_from_memory(&header, bytes.data(), bytes.size()) != 0;
    ScreenImage image;
    if (begun && header.width <= longestSide && header.height <= longestSide) {
        header.format = PNG_FORMAT_RGB;
        image.area = {0, 0, static_cast<int>(header.width), static_cast<int>(header.height)};
        image.pixels.resize(PNG_IMAGE_SIZE(header));
        if (png_image_finish_read(&header, nullptr, image.pixels.data(), 0, nullptr) != 0) return image;
    }
    png_image_free(&header);
    throw ScreenError("The desktop's portal gave no image that can be read.");
}

ScreenImage cut(const ScreenImage& whole, const ScreenArea& area) {
    ScreenImage part{area, {}};
    const auto row = static_cast<std::size_t>(area.width) * 3;
    part.pixels.resize(row * static_cast<std::size_t>(area.height));
    for (int y = 0; y < area.height; ++y) {
        const auto from = (static_cast<std::size_t>(area.y + y) * static_cast<std::size_t>(whole.area.width) +
                           static_cast<std::size_t>(area.x)) *
                          3;
        std::memcpy(part.pixels.data() + static_cast<std::size_t>(y) * row, whole.pixels.data() + from, row);
    }
    return part;
}

class PortalScreen : public Screen {
  public:
    ScreenImage capture(std::optional<ScreenArea> wanted) override {
        const std::string path = askForFile();
        const auto bytes = readRegularFile(path, maxFile);
        // It was made for this alone, often among the person's own pictures.
        unlink(path.c_str());
        if (!bytes) throw ScreenError("The desktop's portal gave no image that can be read.");
        ScreenImage whole = decode(*bytes);
        const ScreenArea area = visiblePart(wanted, whole.area);
        if (area.width <= 0 || area.height <= 0) throw ScreenError("Nothing of it lies on the screen.");
        return wanted ? cut(whole, area) : std::move(whole);
    }

  private:
    static std::string askForFile() {
        const Deadline deadline = Deadline::in(connectLimit);
        SessionBus bus;
        if (!bus.connect(deadline)) throw ScreenError("The session's message bus does not answer.");
        if (Portal::versionOf(bus, interface, deadline) == 0)
            throw ScreenError(
                "This Wayland session lets no program take images of the screen: it has no portal "
                "for them (xdg-desktop-portal, with the part for this desktop).");
        Portal portal(bus);
        SdBusMessage call = portal.newCall(interface, "Screenshot");
        if (call)
            sd_bus_message_append(call.get(), "sa{sv}", "", 2, "handle_token", "s", portal.token().c_str(),
                                  "interactive", "b", 0);
        std::string path;
        const auto outcome = portal.ask(
            std::move(call), [&path](sd_bus_message* results) { path = pathOf(uriIn(results)); },
            Deadline::in(personLimit));
        if (outcome == Portal::Outcome::refused)
            throw ScreenError("The person did not let this program take an image of the screen.");
        if (outcome == Portal::Outcome::failed || path.empty())
            throw ScreenError("The desktop's portal gave no image of the screen.");
        return path;
    }
};

}  // namespace

std::unique_ptr<Screen> makePortalScreen() {
    return std::make_unique<PortalScreen>();
}

}  // namespace varkel
