#!/usr/bin/python3
"""A form of GTK widgets that tells what is done to it. Usage: gtk_form.py 3|4 [few] [csd]; form.py says what it tells.

With "few" it has only a few of its widgets, with "csd" the window draws its own title bar."""

import sys

import gi
from form import FRUIT, Form, report

gi.require_version("Gtk", sys.argv[1] + ".0")
gi.require_version("GLib", "2.0")
from gi.repository import GLib, Gtk  # noqa: E402

IS_4 = sys.argv[1] == "4"


def put(container, child):
    (container.append if IS_4 else container.add)(child)


class GtkForm(Form):
    def __init__(self, loop):
        self.window = Gtk.Window(title=f"GTK {sys.argv[1]} form")
        if "csd" in sys.argv:
            self.window.set_titlebar(Gtk.HeaderBar(**{} if IS_4 else {"show_close_button": True}))
        self.widgets = self.make_widgets()
        box = Gtk.Box(orientation=Gtk.Orientation.VERTICAL)
        for widget in list((*self.widgets.values(), *self.still_widgets()))[:6 if "few" in sys.argv else None]:
            put(box, widget)
        if IS_4:
            self.window.set_child(box)
            self.window.connect("close-request", lambda _: loop.quit())
            self.window.present()
        else:
            self.window.add(box)
            self.window.connect("destroy", lambda _: loop.quit())
            self.window.show_all()
        self.widgets["entry"].grab_focus()
        self.obey_in_glib()

    @staticmethod
    def make_widgets():
        button, box = Gtk.Button(label="Count me"), Gtk.CheckButton(label="Remember me")
        button.connect("clicked", lambda _: report("clicked", widget="button"))
        if IS_4:
            one, radio = Gtk.CheckButton(label="One", active=True), Gtk.CheckButton(label="Two")
            radio.set_group(one)
        else:
            one = Gtk.RadioButton.new_with_label(None, "One")
            radio = Gtk.RadioButton.new_with_label_from_widget(one, "Two")
        for name, switch in (("box", box), ("radio", radio)):
            switch.connect("toggled", lambda it, widget: report("switched", widget=widget, on=it.get_active()), name)
        entry, notes = Gtk.Entry(text="before"), Gtk.TextView()
        # In GTK 4 an entry that only hides its text does not say that it is a password's.
        password = Gtk.PasswordEntry(text="secret") if IS_4 else Gtk.Entry(text="secret", visibility=False)
        notes.get_buffer().set_text("First line\nSecond line")
        for name, field in (("entry", entry), ("password", password)):
            field.connect("changed", lambda it, widget: report("changed", widget=widget, text=it.get_text()), name)
        spin = Gtk.SpinButton.new_with_range(0, 100, 1)
        spin.set_value(42)
        return {"button": button, "disabled": Gtk.Button(label="Not now", sensitive=False), "box": box, "one": one,
                "radio": radio, "entry": entry, "password": password, "notes": notes, "spin": spin,
                "slider": Gtk.Scale.new_with_range(Gtk.Orientation.HORIZONTAL, 0, 10, 1)}

    @staticmethod
    def still_widgets():
        combo, fruit, tabs = Gtk.ComboBoxText(), Gtk.ListBox(), Gtk.Notebook()
        for text in FRUIT:
            combo.append_text(text)
            put(fruit, Gtk.Label(label=text))
        for number in ("First", "Second"):
            content = Gtk.Label(label=f"Content of the {number.lower()} page")
            tabs.append_page(content, Gtk.Label(label=number + " page"))
        return combo, fruit, tabs

    def look(self):
        widgets, notes = self.widgets, self.widgets["notes"].get_buffer()
        return {"texts": {"entry": widgets["entry"].get_text(), "password": widgets["password"].get_text(),
                          "notes": notes.get_property("text")},
                "checked": [name for name in ("box", "radio") if widgets[name].get_active()],
                # In GTK 4 a field's focus is that of the text inside of it.
                "focused": [name for name, widget in widgets.items()
                            if widget.has_focus() or (IS_4 and widget.get_focus_child())]}


def main():
    if IS_4:
        Gtk.init()
    loop = GLib.MainLoop()
    form = GtkForm(loop)
    report("ready")
    loop.run()
    return 0 if form else 1


if __name__ == "__main__":
    main()
