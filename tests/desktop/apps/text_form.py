#!/usr/bin/python3
"""A window with a text area, whose text is in a file soon after it has come to the front. Usage: text_form.py gtk3|gtk4|qt5|qt6 FILE

A line on the standard input empties it."""

import functools
import importlib
import os
import sys

SOON_MS = 50


def write(path, text):
    with open(path + ".new", "w", encoding="utf-8") as file:
        file.write(text)
    os.rename(path + ".new", path)


def run_gtk(path, version):
    import gi
    gi.require_version("Gtk", version)
    gi.require_version("GLib", "2.0")
    from gi.repository import GLib, Gtk
    view = Gtk.TextView(wrap_mode=Gtk.WrapMode.CHAR)
    text = view.get_buffer()
    window = Gtk.Window(title="text form", default_width=500, default_height=300)
    scrolled = Gtk.ScrolledWindow()
    if version == "3.0":
        scrolled.add(view)
        window.add(scrolled)
        window.show_all()
    else:
        scrolled.set_child(view)
        window.set_child(scrolled)
        window.present()
    view.grab_focus()
    waiting = []

    def save():
        waiting.clear()
        write(path, text.get_text(*text.get_bounds(), True))

    def changed(_text):
        if not waiting:
            waiting.append(GLib.timeout_add(SOON_MS, save))

    def obey(*_):
        line = sys.stdin.readline()
        if line:
            text.set_text("")
        return bool(line)
    text.connect("changed", changed)
    window.connect("notify::is-active", lambda *_: window.is_active() and changed(text))
    GLib.io_add_watch(GLib.IOChannel.unix_new(0), GLib.PRIORITY_LOW, GLib.IOCondition.IN, obey)
    GLib.MainLoop().run()


def run_qt(path, binding):
    widgets = importlib.import_module(binding + ".QtWidgets")
    core = importlib.import_module(binding + ".QtCore")
    application = widgets.QApplication(["text_form.py"])
    area = widgets.QPlainTextEdit()
    timer = core.QTimer(singleShot=True, interval=SOON_MS)
    timer.timeout.connect(lambda: write(path, area.toPlainText()))
    area.textChanged.connect(lambda: timer.isActive() or timer.start())

    def obey(*_):
        if sys.stdin.readline():
            area.setPlainText("")
        else:
            notifier.setEnabled(False)
    notifier = core.QSocketNotifier(0, core.QSocketNotifier.Type.Read)
    notifier.activated.connect(obey)
    application.focusWindowChanged.connect(lambda window: window and timer.start())
    area.resize(500, 300)
    area.show()
    (application.exec_ if binding == "PyQt5" else application.exec)()


if __name__ == "__main__":
    {"gtk3": functools.partial(run_gtk, version="3.0"), "gtk4": functools.partial(run_gtk, version="4.0"),
     "qt5": functools.partial(run_qt, binding="PyQt5"),
     "qt6": functools.partial(run_qt, binding="PyQt6")}[sys.argv[1]](sys.argv[2])
