#include "overlay/TargetMark.h"

#include <algorithm>
#include <vector>

namespace varkel::overlay {

namespace {

constexpr const char* styleSheet = ".mark { background-color: #c01c28; }";

cairo_region_t* regionOf(const std::vector<Box>& boxes) {
    cairo_region_t* region = cairo_region_create();
    for (const Box& box : boxes) {
        const cairo_rectangle_int_t rectangle{box.x, box.y, box.width, box.height};
        cairo_region_union_rectangle(region, &rectangle);
    }
    return region;
}

}  // namespace

TargetMark::TargetMark() : window_(gtk_window_new(GTK_WINDOW_POPUP)) {
    GtkWindow* window = GTK_WINDOW(window_);
    gtk_window_set_title(window, "Varkel marks");
    gtk_window_set_type_hint(window, GDK_WINDOW_TYPE_HINT_NOTIFICATION);
    gtk_window_set_accept_focus(window, FALSE);
    gtk_window_set_focus_on_map(window, FALSE);
    GtkStyleContext* context = gtk_widget_get_style_context(window_);
    GtkCssProvider* provider = gtk_css_provider_new();
    gtk_css_provider_load_from_data(provider, styleSheet, -1, nullptr);
    gtk_style_context_add_provider(context, GTK_STYLE_PROVIDER(provider),
                                   GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
    g_object_unref(provider);
    gtk_style_context_add_class(context, "mark");
    cairo_region_t* none = cairo_region_create();
    gtk_widget_input_shape_combine_region(window_, none);
    cairo_region_destroy(none);
}

Box TargetMark::boxOf(const AXFrame& frame) const {
    const int scale = gtk_widget_get_scale_factor(window_);
    const auto logical = [&](double pixels) {
        constexpr double farthest = 1e6;
        return static_cast<int>(std::clamp(pixels, -farthest, farthest)) / scale;
    };
    return {logical(frame.x), logical(frame.y), logical(frame.width), logical(frame.height)};
}

void TargetMark::mark(const std::optional<Box>& target) {
    if (target == target_) return;
    target_ = target;
    gtk_widget_hide(window_);
    if (!target) return;
    GdkWindow* root = gdk_screen_get_root_window(gtk_widget_get_screen(window_));
    std::vector<Box> sides = frameAround(*target, gdk_window_get_width(root), gdk_window_get_height(root));
    if (sides.empty()) return;
    const int left = sides.front().x;
    const int top = sides.front().y;
    const int width = sides.front().width;
    const int height = sides[1].y + sides[1].height - top;
    for (Box& side : sides) {
        side.x -= left;
        side.y -= top;
    }
    cairo_region_t* shape = regionOf(sides);
    gtk_widget_shape_combine_region(window_, shape);
    cairo_region_destroy(shape);
    gtk_widget_set_size_request(window_, width, height);
    gtk_window_resize(GTK_WINDOW(window_), width, height);
    gtk_window_move(GTK_WINDOW(window_), left, top);
    gtk_widget_show(window_);
}

}  // namespace varkel::overlay
