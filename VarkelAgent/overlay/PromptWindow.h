#pragma once

#include <gtk/gtk.h>

#include <chrono>
#include <cstddef>
#include <functional>
#include <list>
#include <optional>
#include <string>

#include "overlay/AnswerButton.h"
#include "overlay/Placement.h"
#include "overlay/Prompts.h"

namespace varkel::overlay {

/// Shows one question at a time in a corner of the screen. The window manager does not know the window, so it
/// never gets the keyboard focus. The display's thread.
class PromptWindow {
  public:
    using Choose = std::function<void(const std::string& id, Choice choice)>;

    explicit PromptWindow(Choose choose);
    PromptWindow(const PromptWindow&) = delete;
    PromptWindow& operator=(const PromptWindow&) = delete;
    ~PromptWindow();

    /// Beside the question itself: how many wait behind it, whether all of them may be denied, and how long
    /// it still counts.
    struct Surroundings {
        std::size_t behind = 0;
        bool isFlooded = false;
        std::chrono::seconds left{0};
        friend bool operator==(const Surroundings&, const Surroundings&) = default;
    };

    /// Shows a question, or what has changed about the one that is shown. `target` is not covered where that
    /// can be.
    void show(const Question& question, const std::optional<Box>& target, const Surroundings& surroundings);

    /// Something to say while nothing is asked, and what can be done about it.
    struct Notice {
        std::string text;
        std::string button;
        std::function<void()> press;
    };

    /// Shows a notice; one with the button of the one that is shown changes its text.
    void showNotice(const Notice& notice);

    /// Takes the window off the screen; it is gone when this returns.
    void hide();

    /// To be called now and then while something is shown: keeps the window above others.
    void refresh();

  private:
    static gboolean onVisibility(GtkWidget* widget, GdkEventVisibility* event, gpointer self);

    void rebuild(const Question& question, const Surroundings& surroundings);
    void addText(const Question& question);
    void addButtons(const Question& question, bool isFlooded);
    void addButton(GtkWidget* row, const std::string& text, const char* style, std::function<void()> press);
    void unfold();
    void clear();
    void place();

    Choose choose_;
    GtkWidget* window_;
    GtkWidget* content_ = nullptr;
    GtkWidget* fold_ = nullptr;
    GtkWidget* text_ = nullptr;
    GtkWidget* footer_ = nullptr;
    PersonPointer pointer_;
    std::list<AnswerButton> buttons_;
    std::string shown_;
    bool showsFlood_ = false;
    std::string footerText_;
    std::optional<Box> target_;
    bool isObscured_ = false;
};

}  // namespace varkel::overlay
