#include "overlay/AnswerButton.h"

#include <utility>

#include "overlay/MainLoop.h"

namespace varkel::overlay {

AnswerButton::AnswerButton(const std::string& text, const char* style, PersonPointer& pointer,
                           std::function<void()> press)
    : box_(gtk_event_box_new()),
      pointer_(pointer),
      press_(std::move(press)),
      since_(std::chrono::steady_clock::now()) {
    g_object_ref_sink(box_);
    GtkWidget* label = gtk_label_new(text.c_str());
    gtk_container_add(GTK_CONTAINER(box_), label);
    GtkStyleContext* context = gtk_widget_get_style_context(box_);
    gtk_style_context_add_class(context, "answer");
    gtk_style_context_add_class(context, style);
    gtk_widget_add_events(box_, GDK_BUTTON_PRESS_MASK | GDK_BUTTON_RELEASE_MASK | GDK_POINTER_MOTION_MASK |
                                    GDK_LEAVE_NOTIFY_MASK);
    connection_ = g_signal_connect(box_, "event", G_CALLBACK(onEvent), this);
    AtkObject* accessible = gtk_widget_get_accessible(box_);
    atk_object_set_role(accessible, ATK_ROLE_PUSH_BUTTON);
    atk_object_set_name(accessible, text.c_str());
}

AnswerButton::~AnswerButton() {
    g_signal_handler_disconnect(box_, connection_);
    g_object_unref(box_);
}

void AnswerButton::restart() {
    since_ = std::chrono::steady_clock::now();
    isPressed_ = false;
    refresh();
}

bool AnswerButton::isReady() const {
    return std::chrono::steady_clock::now() - since_ >= readingTime;
}

void AnswerButton::refresh() {
    gtk_widget_set_opacity(box_, isReady() ? 1.0 : 0.4);
}

bool AnswerButton::contains(const GdkEventButton& event) const {
    return event.x >= 0 && event.y >= 0 && event.x < gtk_widget_get_allocated_width(box_) &&
           event.y < gtk_widget_get_allocated_height(box_);
}

gboolean AnswerButton::onEvent(GtkWidget*, GdkEvent* event, gpointer self) {
    auto& button = *static_cast<AnswerButton*>(self);
    switch (event->type) {
        case GDK_LEAVE_NOTIFY:
        case GDK_MOTION_NOTIFY:
        case GDK_BUTTON_PRESS:
        case GDK_2BUTTON_PRESS:
        case GDK_3BUTTON_PRESS:
        case GDK_BUTTON_RELEASE:
            button.handle(event);
            return GDK_EVENT_STOP;
        default:
            return GDK_EVENT_PROPAGATE;
    }
}

void AnswerButton::handle(const GdkEvent* event) {
    const bool isThere = pointer_.follow(event);
    if (event->type == GDK_MOTION_NOTIFY) return;
    if (event->type == GDK_LEAVE_NOTIFY) {
        isPressed_ = false;
        return;
    }
    const bool counts = isThere && isReady() && event->button.button == GDK_BUTTON_PRIMARY;
    if (event->type == GDK_BUTTON_RELEASE) {
        if (std::exchange(isPressed_, false) && counts && contains(event->button)) runOnMain(press_);
        return;
    }
    isPressed_ = counts && event->type == GDK_BUTTON_PRESS;
}

}  // namespace varkel::overlay
