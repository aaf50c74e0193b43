// Draws the screens of data/ocr/controls: selections, switches, tabs, tight columns and file names, which
// were found to be read badly on real ones.
//
// usage: draw_screens OUT_DIR
//
// Writes OUT_DIR/images/NAME.png and OUT_DIR/truth/NAME.json as score.py reads it.
#include <pango/pangocairo.h>

#include <boost/json.hpp>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <numbers>
#include <string>
#include <vector>

namespace {

struct Colour {
    double red = 0;
    double green = 0;
    double blue = 0;
};

struct Theme {
    const char* name;
    const char* font;
    double size;
    Colour ground;
    Colour field;
    Colour ink;
    Colour selection;
    Colour selectedInk;
    Colour line;
};

constexpr Theme themes[] = {
    {"controls_light",
     "DejaVu Sans",
     10,
     {0.96, 0.96, 0.95},
     {1, 1, 1},
     {0.18, 0.2, 0.21},
     {0.21, 0.52, 0.89},
     {1, 1, 1},
     {0.78, 0.76, 0.74}},
    {"controls_dark",
     "Nimbus Sans",
     11,
     {0.16, 0.16, 0.18},
     {0.11, 0.11, 0.13},
     {0.9, 0.9, 0.9},
     {0.1, 0.4, 0.6},
     {1, 1, 1},
     {0.35, 0.35, 0.37}},
    {"controls_serif",
     "DejaVu Serif",
     9.5,
     {0.93, 0.93, 0.97},
     {1, 1, 0.98},
     {0, 0, 0},
     {0.98, 0.8, 0.4},
     {0, 0, 0},
     {0.6, 0.6, 0.65}},
    {"controls_plain",
     "DejaVu Sans",
     8.5,
     {1, 1, 1},
     {1, 1, 1},
     {0.1, 0.1, 0.1},
     {0, 0.47, 0.84},
     {1, 1, 1},
     {0.7, 0.7, 0.7}},
};

class Screen {
  public:
    Screen(const Theme& theme, int width, int height)
        : theme_(theme),
          surface_(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height)),
          cairo_(cairo_create(surface_)) {
        fill(0, 0, width, height, theme.ground);
        cairo_set_line_width(cairo_, 1);
    }
    Screen(const Screen&) = delete;
    Screen& operator=(const Screen&) = delete;
    ~Screen() {
        cairo_destroy(cairo_);
        cairo_surface_destroy(surface_);
    }

    void fill(double x, double y, double width, double height, const Colour& colour) {
        use(colour);
        cairo_rectangle(cairo_, x, y, width, height);
        cairo_fill(cairo_);
    }

    void frame(double x, double y, double width, double height, const Colour& colour) {
        use(colour);
        cairo_rectangle(cairo_, x + 0.5, y + 0.5, width - 1, height - 1);
        cairo_stroke(cairo_);
    }

    PangoRectangle write(const std::string& text, double x, double y, const Colour& ink) {
        PangoLayout* layout = layoutOf(text);
        PangoRectangle inkBox;
        PangoRectangle box;
        pango_layout_get_pixel_extents(layout, &inkBox, &box);
        use(ink);
        cairo_move_to(cairo_, x, y);
        pango_cairo_show_layout(cairo_, layout);
        g_object_unref(layout);
        truth_.push_back(boost::json::object{
            {"text", text},
            {"box", boost::json::array{x + box.x, y + box.y, box.width, box.height}},
            {"ink", boost::json::array{x + inkBox.x, y + inkBox.y, inkBox.width, inkBox.height}}});
        return box;
    }

    /// An entry with a focus ring whose whole text is selected.
    void selectedEntry(const std::string& text, int x, int y, int padding) {
        fill(x, y, 300, 32, theme_.field);
        frame(x, y, 300, 32, theme_.selection);
        frame(x + 1, y + 1, 298, 30, theme_.selection);
        const int width = sizeOf(text).width;
        const int height = sizeOf(text).height;
        fill(x + 10 - padding, y + 16 - height / 2.0, width + 2 * padding, height, theme_.selection);
        write(text, x + 10, y + 16 - height / 2.0, theme_.selectedInk);
    }

    void toggle(double x, double y, double width, double height, bool on) {
        pill(x, y, width, height);
        use(on ? theme_.selection : theme_.line);
        cairo_fill_preserve(cairo_);
        use(theme_.line);
        cairo_stroke(cairo_);
        const double radius = height / 2;
        cairo_arc(cairo_, on ? x + width - radius : x + radius, y + radius, radius - 0.5, 0,
                  2 * std::numbers::pi);
        use(theme_.field);
        cairo_fill_preserve(cairo_);
        use(theme_.line);
        cairo_stroke(cairo_);
    }

    void save(const std::filesystem::path& directory) const {
        std::filesystem::create_directories(directory / "images");
        std::filesystem::create_directories(directory / "truth");
        const std::string name = theme_.name;
        cairo_surface_write_to_png(surface_, (directory / "images" / (name + ".png")).c_str());
        std::ofstream(directory / "truth" / (name + ".json")) << boost::json::serialize(truth_) << '\n';
    }

    const Theme& theme() const { return theme_; }

  private:
    void use(const Colour& colour) { cairo_set_source_rgb(cairo_, colour.red, colour.green, colour.blue); }

    void pill(double x, double y, double width, double height) {
        const double radius = height / 2;
        constexpr double quarter = std::numbers::pi / 2;
        cairo_new_path(cairo_);
        cairo_arc(cairo_, x + radius, y + radius, radius, quarter, 3 * quarter);
        cairo_arc(cairo_, x + width - radius, y + radius, radius, -quarter, quarter);
        cairo_close_path(cairo_);
    }

    PangoLayout* layoutOf(const std::string& text) const {
        PangoLayout* layout = pango_cairo_create_layout(cairo_);
        PangoFontDescription* font = pango_font_description_from_string(theme_.font);
        pango_font_description_set_size(font, static_cast<int>(theme_.size * PANGO_SCALE));
        pango_layout_set_font_description(layout, font);
        pango_font_description_free(font);
        pango_layout_set_text(layout, text.c_str(), -1);
        return layout;
    }

    PangoRectangle sizeOf(const std::string& text) const {
        PangoLayout* layout = layoutOf(text);
        PangoRectangle box;
        pango_layout_get_pixel_extents(layout, nullptr, &box);
        g_object_unref(layout);
        return box;
    }

    const Theme& theme_;
    cairo_surface_t* surface_;
    cairo_t* cairo_;
    boost::json::array truth_;
};

void drawSelections(Screen& screen) {
    int y = 30;
    int padding = 0;
    for (const char* text :
         {"comboboxentry", "Quarterly report", "admin@mail1.example.org", "untitled folder", "12,500"}) {
        screen.selectedEntry(text, 30, y, padding++ % 4);
        y += 50;
    }
    // A selected row, and a selected word within a line.
    screen.fill(30, y, 300, 24, screen.theme().selection);
    screen.write("Selected row of a list", 36, y + 4, screen.theme().selectedInk);
    screen.write("Another row of it", 36, y + 28, screen.theme().ink);
}

void drawSwitches(Screen& screen) {
    int y = 34;
    double height = 16;
    bool on = false;
    for (const char* label :
         {"Wireless", "Bluetooth", "Night light", "Do not disturb", "Location", "Automatic updates"}) {
        screen.write(label, 400, y, screen.theme().ink);
        screen.toggle(560.5, y - 4.5, std::floor(1.9 * height), height, on);
        on = !on;
        height += 2;
        y += 48;
    }
}

void drawTabs(Screen& screen) {
    int x = 40;
    for (const char* tab : {"page 1", "page 2", "page 3", "copy", "group", "happy", "paper 7", "Page 8",
                            "pages", "save", "save as"}) {
        x += screen.write(tab, x, 410, screen.theme().ink).width + 34;
    }
    int y = 440;
    for (const char* tab : {"page 1", "page 2", "Preview", "processes", "open", "quit", "zoom"}) {
        screen.write(tab, 40, y, screen.theme().ink);
        y += 38;
    }
}

void drawColumns(Screen& screen) {
    const std::vector<std::vector<std::string>> rows{
        {"First name", "Family", "Role"},    {"Otto", "Baker", "guest"},
        {"Benjamin", "Company", "editor"},   {"Christopher", "Carpenter", "owner"},
        {"Andrea", "Cimi", "guest"},         {"Maximiliana", "Montgomery", "auditor"},
        {"Orville", "Redenbacher", "guest"}, {"Ada", "Lee", "owner"}};
    int y = 450;
    const double em = screen.theme().size;
    for (const auto& row : rows) {
        double x = 200;
        for (const auto& cell : row) {
            screen.write(cell, std::round(x), y, screen.theme().ink);
            x += 9.1 * em;
        }
        y += 24;
    }
}

void drawNames(Screen& screen) {
    int y = 450;
    for (const char* name :
         {"liam.gallagher@mail1.com", "jonas.lindqvist@mail4.com", "IMG_20240817.jpg", "invoice#4471.pdf",
          "CMakeLists.txt", "notes-2024.txt", "www.example.org/help", "version 1.10.1"}) {
        screen.write(name, 560, y, screen.theme().ink);
        y += 26;
    }
}

}  // namespace

int main(int count, char** arguments) {
    if (count != 2) return EXIT_FAILURE;
    for (const Theme& theme : themes) {
        Screen screen(theme, 1000, 720);
        drawSelections(screen);
        drawSwitches(screen);
        drawTabs(screen);
        drawColumns(screen);
        drawNames(screen);
        screen.save(arguments[1]);
    }
    return EXIT_SUCCESS;
}
