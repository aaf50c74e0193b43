#include "overlay/TargetMark.h"

#include <algorithm>
#include <cstddef>
#include <vector>

namespace varkel::overlay {

namespace {

constexpr const char* styleSheet = ".mark { background-color: #c01c28; }";

GtkWidget* makeSide() {
    GtkWidget* side = gtk_window_new(GTK_WINDOW_POPUP);
    GtkWindow* window = GTK_WINDOW(side);
    gtk_window_set_title(window, "Varkel marks");
    gtk_window_set_type_hint(window, GDK_WINDOW_TYPE_HINT_NOTIFICATION);
    gtk_window_set_accept_focus(window, FALSE);
    gtk_window_set_focus_on_map(window, FALSE);
    GtkStyleContext* context = gtk_widget_get_style_context(side);
    GtkCssProvider* provider = gtk_css_provider_new();
    gtk_css_provider_load_from_data(provider, styleSheet, -1, nullptr);
    gtk_style_context_add_provider(context, GTK_STYLE_PROVIDER(provider),
                                   GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
    g_object_unref(provider);
    gtk_style_context_add_class(context, "mark");
    cairo_region_t* none = cairo_region_create();
    gtk_widget_input_shape_combine_region(side, none);
    cairo_region_destroy(none);
    return side;
}

}  // namespace

TargetMark::TargetMark() : sides_{makeSide(), makeSide(), makeSide(), makeSide()} {}

TargetMark::~TargetMark() {
    for (GtkWidget* side : sides_) gtk_widget_destroy(side);
}

Box TargetMark::boxOf(const AXFrame& frame) const {
    const int scale = gtk_widget_get_scale_factor(sides_[0]);
    const auto logical = [&](double pixels) {
        constexpr double farthest = 1e6;
        return static_cast<int>(std::clamp(pixels, -farthest, farthest)) / scale;
    };
    return {logical(frame.x), logical(frame.y), logical(frame.width), logical(frame.height)};
}

void TargetMark::mark(const std::optional<Box>& target) {
    if (target == target_) return;
    target_ = target;
    for (GtkWidget* side : sides_) gtk_widget_hide(side);
    if (!target) return;
    GdkWindow* root = gdk_screen_get_root_window(gtk_widget_get_screen(sides_[0]));
    const auto boxes = frameAround(*target, gdk_window_get_width(root), gdk_window_get_height(root));
    for (std::size_t i = 0; i < boxes.size() && i < sides_.size(); ++i) {
        const Box& box = boxes[i];
        gtk_widget_set_size_request(sides_[i], box.width, box.height);
        gtk_window_resize(GTK_WINDOW(sides_[i]), box.width, box.height);
        gtk_window_move(GTK_WINDOW(sides_[i]), box.x, box.y);
        gtk_widget_show(sides_[i]);
    }
}

}  // namespace varkel::overlay
