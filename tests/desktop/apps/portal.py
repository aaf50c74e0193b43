"""A stand-in for a desktop's portal on the session's bus: portal.py PICTURE ANSWER [VERSION]

Screenshot hands out a copy of PICTURE. RemoteDesktop plays what it is told on mutter's own interface, so that it reaches
applications. ANSWER: what the person says, "yes" or "no", or "gone", with which the portal ends instead of answering."""

import json
import shutil
import sys

import gi

gi.require_version("Gio", "2.0")
gi.require_version("GLib", "2.0")
from dbus_interface import interface  # noqa: E402
from gi.repository import Gio, GLib  # noqa: E402

PATH = "/org/freedesktop/portal/desktop"
INTERFACES = {
    "Screenshot": {"Screenshot": "sa{sv}>o"},
    "ScreenCast": {"SelectSources": "oa{sv}>o"},
    "RemoteDesktop": {
        "CreateSession": "a{sv}>o", "SelectDevices": "oa{sv}>o", "Start": "osa{sv}>o", "NotifyKeyboardKeysym": "oa{sv}iu",
        "NotifyKeyboardKeycode": "oa{sv}iu", "NotifyPointerButton": "oa{sv}iu", "NotifyPointerAxisDiscrete": "oa{sv}ui",
        "NotifyPointerMotionAbsolute": "oa{sv}udd"},
}
MUTTER = "org.gnome.Mutter.RemoteDesktop"


class Portal:
    def __init__(self, bus, picture, answer, version):
        self.bus, self.picture, self.answer, self.version = bus, picture, answer, version
        self.mutter = None
        for name, methods in INTERFACES.items():
            described = interface("org.freedesktop.portal." + name, methods, {"version": "u"})
            bus.register_object(PATH, described, self.on_call, lambda *_: GLib.Variant("u", self.version), None)

    def tell(self, **fields):
        print(json.dumps({"event": "portal", **fields}), flush=True)

    def on_call(self, _bus, sender, _path, _interface, method, arguments, invocation):
        given = arguments.unpack()
        if method.startswith("Notify"):
            self.play(method, given[2:])
            return invocation.return_value(None)
        options = given[-1]
        self.tell(method=method, options={name: value for name, value in options.items() if "token" not in name
                                          or name == "restore_token"})
        if self.answer == "gone" and method in ("Screenshot", "Start"):
            sys.exit(0)
        me = sender[1:].replace(".", "_")
        request = f"{PATH}/request/{me}/{options['handle_token']}"
        results = getattr(self, method)(me, options) if hasattr(self, method) else {}
        refused = self.answer == "no" and method in ("Screenshot", "Start")
        invocation.return_value(GLib.Variant("(o)", (request,)))
        response = GLib.Variant("(ua{sv})", (1 if refused else 0, {} if refused else results))
        self.bus.emit_signal(sender, request, "org.freedesktop.portal.Request", "Response", response)
        return None

    def Screenshot(self, _me, _options):
        path = self.picture + " ü.png"
        shutil.copy(self.picture, path)
        return {"uri": GLib.Variant("s", GLib.filename_to_uri(path, None))}

    def CreateSession(self, me, options):
        session = f"{PATH}/session/{me}/{options['session_handle_token']}"
        described = interface("org.freedesktop.portal.Session", {"Close": ""}, {"version": "u"})
        self.bus.register_object(session, described, lambda *_: None, lambda *_: GLib.Variant("u", 1), None)
        return {"session_handle": GLib.Variant("s", session)}

    def Start(self, _me, _options):
        self.mutter = self.ask("/org/gnome/Mutter/RemoteDesktop", MUTTER, "CreateSession", None).unpack()[0]
        self.ask(self.mutter, MUTTER + ".Session", "Start", None)
        stream = GLib.Variant("a(ua{sv})", [(42, {"position": GLib.Variant("(ii)", (0, 0)),
                                                   "size": GLib.Variant("(ii)", (1280, 900))})])
        return {"devices": GLib.Variant("u", 3), "streams": stream, "restore_token": GLib.Variant("s", "again")}

    def play(self, method, values):
        if method.startswith("NotifyKeyboard"):
            self.ask(self.mutter, MUTTER + ".Session", method, GLib.Variant("(ub)", (values[0], bool(values[1]))))
        else:
            self.tell(method=method, values=list(values))

    def ask(self, path, interface, method, arguments):
        return self.bus.call_sync(MUTTER, path, interface, method, arguments, None, Gio.DBusCallFlags.NONE, 5000, None)


def main():
    picture, answer, version = sys.argv[1], sys.argv[2], int((sys.argv + ["1"])[3])
    bus = Gio.bus_get_sync(Gio.BusType.SESSION)
    portal = Portal(bus, picture, answer, version)
    Gio.bus_own_name_on_connection(bus, "org.freedesktop.portal.Desktop", Gio.BusNameOwnerFlags.NONE,
                                   lambda *_: portal.tell(method="ready"), None)
    GLib.MainLoop().run()


if __name__ == "__main__":
    main()
