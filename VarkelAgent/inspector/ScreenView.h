#pragma once

#include <mutex>
#include <string>

#include "base/Task.h"
#include "http/HTTPMessage.h"
#include "inspector/Relay.h"
#include "platform/Screen.h"

namespace varkel::inspector {

/// The images of the screen that the page shows. What is recognised in one is recognised in the last that
/// was taken, so that it fits what the page shows. Any thread; both must outlive it.
class ScreenView {
  public:
    ScreenView(Screen& screen, Relay& relay) : screen_(screen), relay_(relay) {}

    /// An image of the whole desktop as a PNG; "X-Varkel-Area" says which part of the desktop it is, as
    /// "x y width height". 500 with a message when there is none.
    Task<HTTPResponse> take();

    /// The agent's answer to /ocr or /visual/find for the last image, with the same header. `body`: the
    /// request's other fields as a JSON object. 400 when it is none, or before the first image.
    Task<HTTPResponse> recognise(std::string path, std::string body);

  private:
    struct Image {
        SharedBody file;
        std::string area;
    };

    Image last() const;

    Screen& screen_;
    Relay& relay_;
    mutable std::mutex mutex_;
    Image last_;
};

}  // namespace varkel::inspector
