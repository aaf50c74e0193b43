#pragma once

#include <gtk/gtk.h>

#include <chrono>
#include <functional>
#include <string>

#include "overlay/PointerSource.h"

namespace varkel::overlay {

/// A button that a person alone can press, with a pointer: a press counts only when it, and the movement that
/// brought the pointer there, come from a device that is no synthetic one, and when the button has been there
/// for long enough to be read. It takes no keys and has no action for the accessibility interface. The
/// display's thread.
class AnswerButton {
  public:
    /// How long a button must have been on the screen: a click that was meant for what stood there before is
    /// no answer.
    static constexpr std::chrono::milliseconds readingTime{700};

    /// `press` is called from the main loop afterwards, never from within the event. `style`: a class of the
    /// style sheet. The pointer must outlive the button.
    AnswerButton(const std::string& text, const char* style, PersonPointer& pointer,
                 std::function<void()> press);
    AnswerButton(const AnswerButton&) = delete;
    AnswerButton& operator=(const AnswerButton&) = delete;
    ~AnswerButton();

    GtkWidget* widget() const { return box_; }

    /// From now on it has to be read anew.
    void restart();
    /// Shows whether it can be pressed by now.
    void refresh();

  private:
    static gboolean onEvent(GtkWidget* widget, GdkEvent* event, gpointer self);

    void handle(const GdkEvent* event);
    bool isReady() const;
    bool contains(const GdkEventButton& event) const;

    GtkWidget* box_;
    gulong connection_ = 0;
    PersonPointer& pointer_;
    std::function<void()> press_;
    std::chrono::steady_clock::time_point since_;
    bool isPressed_ = false;
};

}  // namespace varkel::overlay
