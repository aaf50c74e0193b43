"""The person at a mutter without a screen: a keyboard and a mouse that are plugged in, and a layout.

Usage: mutter_person.py LAYOUT. Says "ready" once a compositor that is started from then on learns of the layout. Obeys
commands, one per line, and says "done" after each: "plug in", when the compositor runs; "switch N", which brings the
window to the front that was in front N windows ago. The devices are unplugged when it ends."""

import sys
import threading

import gi

gi.require_version("Gio", "2.0")
gi.require_version("GLib", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

LOCALE = """<node><interface name="org.freedesktop.locale1"><property name="X11Layout" type="s" access="read"/>
<property name="X11Model" type="s" access="read"/><property name="X11Variant" type="s" access="read"/>
<property name="X11Options" type="s" access="read"/></interface></node>"""
REMOTE = "org.gnome.Mutter.RemoteDesktop"
ALT, SHIFT, ESCAPE = 0xFFE9, 0xFFE1, 0xFF1B


class Person:
    def __init__(self, bus):
        self._bus, self._session = bus, None

    def _call(self, path, interface, method, arguments=None):
        return self._bus.call_sync(REMOTE, path, interface, method, arguments, None, Gio.DBusCallFlags.NONE, 10000, None)

    def _key(self, keysym, down):
        self._call(self._session, REMOTE + ".Session", "NotifyKeyboardKeysym", GLib.Variant("(ub)", (keysym, down)))

    def _press(self, keysym):
        self._key(keysym, True)
        self._key(keysym, False)

    def plug_in(self):
        self._session, = self._call("/" + REMOTE.replace(".", "/"), REMOTE, "CreateSession").unpack()
        self._call(self._session, REMOTE + ".Session", "Start")
        self._press(SHIFT)  # devices come with their first event
        self._call(self._session, REMOTE + ".Session", "NotifyPointerMotionRelative", GLib.Variant("(dd)", (1.0, 1.0)))

    def switch(self, windows):
        self._key(ALT, True)
        for _ in range(windows):
            self._press(ESCAPE)
        self._key(ALT, False)


def main():
    bus = Gio.bus_get_sync(Gio.BusType.SESSION)
    layout = sys.argv[1]
    interface = Gio.DBusNodeInfo.new_for_xml(LOCALE).interfaces[0]
    bus.register_object("/org/freedesktop/locale1", interface, None,
                        lambda *call: GLib.Variant("s", layout if call[4] == "X11Layout" else ""), None)
    bus.call_sync("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "RequestName",
                  GLib.Variant("(su)", ("org.freedesktop.locale1", 0)), None, Gio.DBusCallFlags.NONE, 10000, None)
    person = Person(bus)

    def obey():
        for line in sys.stdin:
            verb, _, number = line.partition(" ")
            if verb == "switch":
                person.switch(int(number))
            else:
                person.plug_in()
            print("done", flush=True)
        loop.quit()
    loop = GLib.MainLoop()
    threading.Thread(target=obey, daemon=True).start()
    print("ready", flush=True)
    loop.run()


if __name__ == "__main__":
    main()
