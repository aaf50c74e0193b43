#!/usr/bin/python3
"""A GTK window whose widgets the tests know. Usage: known_widgets.py TITLE"""

import sys

import gi
from form import FRUIT
from gtk3_app import App

gi.require_version("Gtk", "3.0")
from gi.repository import Gtk  # noqa: E402

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
    for text in FRUIT:
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


if __name__ == "__main__":
    App(sys.argv[1], widgets(), {"save": "save-button"}).run("entry")
