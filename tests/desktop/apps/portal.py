"""A stand-in for a desktop's portal on the session's bus: portal.py PICTURE ANSWER [VERSION]

Screenshot hands out a copy of PICTURE. RemoteDesktop plays what it is told on mutter's own interface, so that it reaches
applications. ANSWER: what the person says, "yes" or "no", or "gone", with which the portal ends instead of answering."""

import json
import shutil
import sys

import gi

gi.require_version("Gio", "2.0")
gi.require_version("GLib", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

PATH = "/org/freedesktop/portal/desktop"
XML = """<node>
 <interface name="org.freedesktop.portal.Screenshot">
  <method name="Screenshot"><arg type="s" direction="in"/><arg type="a{sv}" direction="in"/>
   <arg type="o" direction="out"/></method>
  <property name="version" type="u" access="read"/>
 </interface>
 <interface name="org.freedesktop.portal.ScreenCast">
  <method name="SelectSources"><arg type="o" direction="in"/><arg type="a{sv}" direction="in"/>
   <arg type="o" direction="out"/></method>
  <property name="version" type="u" access="read"/>
 </interface>
 <interface name="org.freedesktop.portal.RemoteDesktop">
  <method name="CreateSession"><arg type="a{sv}" direction="in"/><arg type="o" direction="out"/></method>
  <method name="SelectDevices"><arg type="o" direction="in"/><arg type="a{sv}" direction="in"/>
   <arg type="o" direction="out"/></method>
  <method name="Start"><arg type="o" direction="in"/><arg type="s" direction="in"/><arg type="a{sv}" direction="in"/>
   <arg type="o" direction="out"/></method>
  <method name="NotifyKeyboardKeysym"><arg type="o" direction="in"/><arg type="a{sv}" direction="in"/>
   <arg type="i" direction="in"/><arg type="u" direction="in"/></method>
  <method name="NotifyKeyboardKeycode"><arg type="o" direction="in"/><arg type="a{sv}" direction="in"/>
   <arg type="i" direction="in"/><arg type="u" direction="in"/></method>
  <method name="NotifyPointerButton"><arg type="o" direction="in"/><arg type="a{sv}" direction="in"/>
   <arg type="i" direction="in"/><arg type="u" direction="in"/></method>
  <method name="NotifyPointerAxisDiscrete"><arg type="o" direction="in"/><arg type="a{sv}" direction="in"/>
   <arg type="u" direction="in"/><arg type="i" direction="in"/></method>
  <method name="NotifyPointerMotionAbsolute"><arg type="o" direction="in"/><arg type="a{sv}" direction="in"/>
   <arg type="u" direction="in"/><arg type="d" direction="in"/><arg type="d" direction="in"/></method>
  <property name="version" type="u" access="read"/>
 </interface>
</node>"""
SESSION_XML = """<node><interface name="org.freedesktop.portal.Session"><method name="Close"/>
 <property name="version" type="u" access="read"/></interface></node>"""
MUTTER = "org.gnome.Mutter.RemoteDesktop"


class Portal:
    def __init__(self, bus, picture, answer, version):
        self.bus, self.picture, self.answer, self.version = bus, picture, answer, version
        self.mutter = None
        for interface in Gio.DBusNodeInfo.new_for_xml(XML).interfaces:
            bus.register_object(PATH, interface, self.on_call, lambda *_: GLib.Variant("u", self.version), None)

    def tell(self, **fields):
        print(json.dumps({"event": "portal", **fields}), flush=True)

    def on_call(self, _bus, sender, _path, interface, method, arguments, invocation):
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
        interface = Gio.DBusNodeInfo.new_for_xml(SESSION_XML).interfaces[0]
        self.bus.register_object(session, interface, lambda *_: None, lambda *_: GLib.Variant("u", 1), None)
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
