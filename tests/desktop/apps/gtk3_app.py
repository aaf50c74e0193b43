"""What the applications with GTK 3 share: a window with a column of named widgets."""

import gi
from form import Form, report

gi.require_version("Gtk", "3.0")
from gi.repository import Gtk  # noqa: E402


class App(Form):
    """The widgets' names are their identifiers, unless `identifiers` has another one."""

    def __init__(self, title, widgets, identifiers=()):
        self.window, self.widgets = Gtk.Window(title=title), widgets
        self.window.connect("destroy", Gtk.main_quit)
        self.box = Gtk.Box(orientation=Gtk.Orientation.VERTICAL)
        for name, widget in widgets.items():
            widget.get_accessible().set_accessible_id(dict(identifiers).get(name, name))
            self.box.pack_start(widget, name == "list", name == "list", 0)
        self.window.add(self.box)

    def run(self, focused):
        self.window.show_all()
        self.widgets[focused].grab_focus()
        self.obey_in_glib()
        report("ready")
        Gtk.main()

    def look(self):
        """Where the window system has each widget: its corner on the screen, its width and its height."""
        places = {}
        for name, widget in self.widgets.items():
            x, y = widget.translate_coordinates(self.window, 0, 0)
            _, left, top = self.window.get_window().get_origin()
            size = widget.get_allocation()
            places[name] = [left + x, top + y, size.width, size.height]
        return {"places": places}
