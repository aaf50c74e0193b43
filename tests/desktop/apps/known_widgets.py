#!/usr/bin/python3
"""A GTK window whose widgets the tests know. Usage: known_widgets.py REPORT [TITLE]

REPORT is a file that holds, as JSON, the rectangle on the screen of every named widget, as the window system has
it, kept up to date while the window lives.
"""

import json
import os
import sys

import gi

gi.require_version("Gtk", "3.0")
gi.require_version("GLib", "2.0")
from gi.repository import GLib, Gtk  # noqa: E402

SECRET = "correct horse battery staple"


def text_view():
    view = Gtk.TextView()
    view.get_buffer().set_text("First line\nSecond line")
    view.set_size_request(-1, 60)
    return view


def menu_bar():
    bar = Gtk.MenuBar()
    item = Gtk.MenuItem(label="File")
    menu = Gtk.Menu()
    menu.append(Gtk.MenuItem(label="Open"))
    item.set_submenu(menu)
    bar.append(item)
    return bar


def combo_box():
    combo = Gtk.ComboBoxText()
    for text in ("Red", "Green"):
        combo.append_text(text)
    combo.set_active(1)
    return combo


def list_box():
    box = Gtk.ListBox()
    for text in ("Apples", "Pears", "Plums"):
        box.add(Gtk.Label(label=text))
    return box


def notebook():
    book = Gtk.Notebook()
    for title in ("First page", "Second page"):
        book.append_page(Gtk.Label(label=f"Content of {title}"), Gtk.Label(label=title))
    return book


def widgets():
    one = Gtk.RadioButton.new_with_label(None, "One")
    disabled = Gtk.Button(label="Not now", sensitive=False)
    spin = Gtk.SpinButton.new_with_range(0, 100, 1)
    spin.set_value(42)
    slider = Gtk.Scale.new_with_range(Gtk.Orientation.HORIZONTAL, 0, 10, 1)
    slider.set_value(3)
    progress = Gtk.ProgressBar(fraction=0.25)
    return {
        "menu bar": menu_bar(), "save": Gtk.Button(label="Save"), "disabled": disabled,
        "label": Gtk.Label(label="Just a label"), "entry": Gtk.Entry(text="Some text, größer"),
        "password": Gtk.Entry(text=SECRET, visibility=False), "text view": text_view(),
        "check": Gtk.CheckButton(label="Remember me"), "toggle": Gtk.ToggleButton(label="Hold"), "radio": one,
        "other radio": Gtk.RadioButton.new_with_label_from_widget(one, "Two"), "slider": slider, "spin": spin,
        "combo": combo_box(), "list": list_box(), "notebook": notebook(),
        "link": Gtk.LinkButton(uri="http://localhost/", label="A link"), "progress": progress,
    }


def rectangle(window, widget):
    x, y = widget.translate_coordinates(window, 0, 0)
    _, left, top = window.get_window().get_origin()
    size = widget.get_allocation()
    return {"x": left + x, "y": top + y, "width": size.width, "height": size.height}


class Report:
    def __init__(self, path, window, named):
        self._path, self._window, self._named, self._last = path, window, named, None

    def write(self):
        now = {name: rectangle(self._window, widget) for name, widget in self._named.items()}
        if now != self._last:
            with open(self._path + ".new", "w", encoding="utf-8") as file:
                json.dump(now, file)
            os.replace(self._path + ".new", self._path)
            self._last = now
        return GLib.SOURCE_CONTINUE


def main():
    window = Gtk.Window(title=sys.argv[2] if len(sys.argv) > 2 else "Known widgets")
    window.connect("destroy", Gtk.main_quit)
    box = Gtk.Box(orientation=Gtk.Orientation.VERTICAL)
    named = widgets()
    for widget in named.values():
        box.add(widget)
    named["save"].get_accessible().set_accessible_id("save-button")
    window.add(box)
    window.show_all()
    named["entry"].grab_focus()
    report = Report(sys.argv[1], window, named)
    # The window manager may still move the window; looking every so often is simpler than every signal.
    GLib.timeout_add(50, report.write)
    Gtk.main()


if __name__ == "__main__":
    main()
