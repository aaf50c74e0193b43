#include "overlay/PromptWindow.h"

#include <utility>

namespace varkel::overlay {

namespace {

constexpr int widthInCharacters = 50;
constexpr int textHeight = 220;
constexpr int spacing = 8;

// Colours of its own, so that it can be read whatever the theme.
constexpr const char* styleSheet = R"(
.prompt { background-color: #fdfdfd; color: #1c1c1c; border: 2px solid #c01c28; }
.prompt label { color: #1c1c1c; }
.prompt .sentence { font-weight: bold; font-size: 115%; }
.prompt .footer { color: #5e5c64; font-size: 90%; }
.prompt .note { color: #813d00; }
.prompt textview, .prompt textview text { background-color: #f0f0f0; color: #1c1c1c; font-family: monospace; }
.answer { background-color: #e6e6e6; border: 1px solid #9a9996; border-radius: 4px; }
.answer label { margin: 7px 14px; }
.allow { background-color: #cdeed5; border-color: #26a269; }
.fold { background-color: transparent; border-color: transparent; }
)";

void useStyleSheet() {
    GtkCssProvider* provider = gtk_css_provider_new();
    gtk_css_provider_load_from_data(provider, styleSheet, -1, nullptr);
    gtk_style_context_add_provider_for_screen(gdk_screen_get_default(), GTK_STYLE_PROVIDER(provider),
                                              GTK_STYLE_PROVIDER_PRIORITY_APPLICATION);
    g_object_unref(provider);
}

/// A hyphen at the end of a line would look like one of the text's own.
void addNoHyphens(GtkWidget* label) {
    PangoAttrList* attributes = pango_attr_list_new();
    pango_attr_list_insert(attributes, pango_attr_insert_hyphens_new(FALSE));
    gtk_label_set_attributes(GTK_LABEL(label), attributes);
    pango_attr_list_unref(attributes);
}

/// A text of several lines at the most; never markup.
GtkWidget* addLabel(GtkWidget* box, const std::string& text, const char* style) {
    GtkWidget* label = gtk_label_new(text.c_str());
    gtk_label_set_xalign(GTK_LABEL(label), 0);
    gtk_label_set_line_wrap(GTK_LABEL(label), TRUE);
    addNoHyphens(label);
    gtk_label_set_line_wrap_mode(GTK_LABEL(label), PANGO_WRAP_WORD_CHAR);
    gtk_label_set_width_chars(GTK_LABEL(label), widthInCharacters);
    gtk_label_set_max_width_chars(GTK_LABEL(label), widthInCharacters);
    gtk_style_context_add_class(gtk_widget_get_style_context(label), style);
    gtk_container_add(GTK_CONTAINER(box), label);
    return label;
}

/// Nothing may select in it, open its menu or put the focus into it.
gboolean swallow(GtkWidget*, GdkEvent*, gpointer) {
    return GDK_EVENT_STOP;
}

GtkWidget* makeTextView(const std::string& text) {
    GtkWidget* view = gtk_text_view_new();
    GtkTextBuffer* buffer = gtk_text_view_get_buffer(GTK_TEXT_VIEW(view));
    gtk_text_buffer_set_text(buffer, text.data(), static_cast<gint>(text.size()));
    gtk_text_view_set_editable(GTK_TEXT_VIEW(view), FALSE);
    gtk_text_view_set_cursor_visible(GTK_TEXT_VIEW(view), FALSE);
    gtk_text_view_set_wrap_mode(GTK_TEXT_VIEW(view), GTK_WRAP_NONE);
    gtk_widget_set_can_focus(view, FALSE);
    g_signal_connect(view, "button-press-event", G_CALLBACK(swallow), nullptr);

    GtkWidget* scrolled = gtk_scrolled_window_new(nullptr, nullptr);
    gtk_scrolled_window_set_policy(GTK_SCROLLED_WINDOW(scrolled), GTK_POLICY_AUTOMATIC, GTK_POLICY_AUTOMATIC);
    gtk_scrolled_window_set_overlay_scrolling(GTK_SCROLLED_WINDOW(scrolled), FALSE);
    gtk_scrolled_window_set_max_content_height(GTK_SCROLLED_WINDOW(scrolled), textHeight);
    gtk_scrolled_window_set_propagate_natural_height(GTK_SCROLLED_WINDOW(scrolled), TRUE);
    gtk_container_add(GTK_CONTAINER(scrolled), view);
    gtk_widget_show_all(scrolled);
    return scrolled;
}

std::string footerFor(const PromptWindow::Surroundings& surroundings) {
    std::string text = "No answer within " + std::to_string(surroundings.left.count()) + " s is a no.";
    if (surroundings.behind == 1) text += " One more waits.";
    if (surroundings.behind > 1)
        text.append(" ").append(std::to_string(surroundings.behind)).append(" more wait.");
    if (g_getenv("WAYLAND_DISPLAY") != nullptr)
        text += " In this session a click that a program makes counts, too.";
    return text;
}

}  // namespace

PromptWindow::PromptWindow(Choose choose)
    : choose_(std::move(choose)), window_(gtk_window_new(GTK_WINDOW_POPUP)) {
    useStyleSheet();
    GtkWindow* window = GTK_WINDOW(window_);
    gtk_window_set_title(window, "Varkel asks");
    gtk_window_set_type_hint(window, GDK_WINDOW_TYPE_HINT_NOTIFICATION);
    gtk_window_set_accept_focus(window, FALSE);
    gtk_window_set_focus_on_map(window, FALSE);
    gtk_window_set_resizable(window, FALSE);
    gtk_style_context_add_class(gtk_widget_get_style_context(window_), "prompt");
    gtk_widget_add_events(window_, GDK_VISIBILITY_NOTIFY_MASK);
    g_signal_connect(window_, "visibility-notify-event", G_CALLBACK(onVisibility), this);
}

PromptWindow::~PromptWindow() {
    clear();
    gtk_widget_destroy(window_);
}

gboolean PromptWindow::onVisibility(GtkWidget*, GdkEventVisibility* event, gpointer self) {
    static_cast<PromptWindow*>(self)->isObscured_ = event->state != GDK_VISIBILITY_UNOBSCURED;
    return GDK_EVENT_PROPAGATE;
}

void PromptWindow::clear() {
    buttons_.clear();
    if (content_ != nullptr) gtk_widget_destroy(std::exchange(content_, nullptr));
    text_ = fold_ = footer_ = nullptr;
    footerText_.clear();
    shown_.clear();
}

void PromptWindow::hide() {
    if (!gtk_widget_get_visible(window_)) return;
    clear();
    gtk_widget_hide(window_);
    gdk_display_sync(gtk_widget_get_display(window_));
}

void PromptWindow::show(const Question& question, const std::optional<Box>& target,
                        const Surroundings& surroundings) {
    target_ = target;
    if (shown_ != question.id || showsFlood_ != surroundings.isFlooded) rebuild(question, surroundings);
    const std::string text = footerFor(surroundings);
    if (text != footerText_) gtk_label_set_text(GTK_LABEL(footer_), text.c_str());
    footerText_ = text;
    refresh();
}

void PromptWindow::rebuild(const Question& question, const Surroundings& surroundings) {
    clear();
    shown_ = question.id;
    showsFlood_ = surroundings.isFlooded;
    content_ = gtk_box_new(GTK_ORIENTATION_VERTICAL, spacing);
    gtk_container_set_border_width(GTK_CONTAINER(content_), spacing + spacing / 2);
    gtk_container_add(GTK_CONTAINER(window_), content_);
    addLabel(content_, question.wording.sentence, "sentence");
    for (const std::string& note : question.wording.notes) addLabel(content_, note, "note");
    if (!question.wording.text.empty()) addText(question);
    addButtons(question, surroundings.isFlooded);
    footer_ = addLabel(content_, footerFor(surroundings), "footer");
    gtk_widget_show_all(content_);
    if (fold_ != nullptr) gtk_widget_hide(text_);
    place();
}

void PromptWindow::addText(const Question& question) {
    if (!question.wording.unfolded) {
        fold_ = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, spacing);
        gtk_container_add(GTK_CONTAINER(content_), fold_);
        addButton(fold_, "▸ Show " + question.wording.textName, "fold", [this] { unfold(); });
    }
    text_ = makeTextView(question.wording.text);
    gtk_container_add(GTK_CONTAINER(content_), text_);
}

void PromptWindow::addButtons(const Question& question, bool isFlooded) {
    const std::string id = question.id;
    const auto choosing = [this, id](Choice choice) { return [this, id, choice] { choose_(id, choice); }; };
    GtkWidget* row = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, spacing);
    gtk_container_add(GTK_CONTAINER(content_), row);
    addButton(row, "Deny", "deny", choosing(Choice::deny));
    addButton(row, "Allow", "allow", choosing(Choice::allow));
    if (question.isGrantable) {
        addButton(row, "Allow in this application for five minutes", "allow",
                  choosing(Choice::allowInApplication));
    }
    if (isFlooded) {
        GtkWidget* more = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, spacing);
        gtk_container_add(GTK_CONTAINER(content_), more);
        addButton(more, "Deny all for five minutes", "deny", choosing(Choice::denyAll));
    }
}

void PromptWindow::addButton(GtkWidget* row, const std::string& text, const char* style,
                             std::function<void()> press) {
    const AnswerButton& button = buttons_.emplace_back(text, style, pointer_, std::move(press));
    gtk_container_add(GTK_CONTAINER(row), button.widget());
}

void PromptWindow::unfold() {
    if (text_ == nullptr) return;
    gtk_widget_show(text_);
    gtk_widget_hide(fold_);
    // What lies below moves.
    for (AnswerButton& button : buttons_) button.restart();
    place();
}

void PromptWindow::showNotice(const Notice& notice) {
    if (shown_ != notice.button) {
        clear();
        shown_ = notice.button;
        target_.reset();
        content_ = gtk_box_new(GTK_ORIENTATION_VERTICAL, spacing);
        gtk_container_set_border_width(GTK_CONTAINER(content_), spacing);
        gtk_container_add(GTK_CONTAINER(window_), content_);
        footer_ = addLabel(content_, notice.text, "footer");
        GtkWidget* row = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, spacing);
        gtk_container_add(GTK_CONTAINER(content_), row);
        addButton(row, notice.button, "deny", notice.press);
        gtk_widget_show_all(content_);
        place();
    }
    gtk_label_set_text(GTK_LABEL(footer_), notice.text.c_str());
    refresh();
}

/// Puts the window where it does not cover what the question is about, and on the screen.
void PromptWindow::place() {
    GtkRequisition size;
    gtk_widget_get_preferred_size(window_, nullptr, &size);
    GdkDisplay* display = gtk_widget_get_display(window_);
    GdkMonitor* monitor = target_ ? gdk_display_get_monitor_at_point(display, target_->x, target_->y)
                                  : gdk_display_get_primary_monitor(display);
    if (monitor == nullptr) monitor = gdk_display_get_monitor(display, 0);
    GdkRectangle area{0, 0, size.width, size.height};
    if (monitor != nullptr) gdk_monitor_get_workarea(monitor, &area);
    const Box box = placePrompt({area.x, area.y, area.width, area.height}, size.width, size.height, target_);
    gtk_window_move(GTK_WINDOW(window_), box.x, box.y);
    gtk_widget_show(window_);
    gdk_window_raise(gtk_widget_get_window(window_));
}

void PromptWindow::refresh() {
    for (AnswerButton& button : buttons_) button.refresh();
    if (isObscured_ && gtk_widget_get_visible(window_)) gdk_window_raise(gtk_widget_get_window(window_));
}

}  // namespace varkel::overlay
