#!/usr/bin/python3
"""A service for notifications, which writes what it is asked to show: title, text and hints."""
from dbus_interface import interface
from gi.repository import Gio, GLib


def call(_bus, _sender, _path, _interface, method, arguments, invocation):
    if method == "GetCapabilities":
        invocation.return_value(GLib.Variant("(as)", (["body", "body-markup"],)))
        return
    values = arguments.unpack()
    print(repr((values[3], values[4], values[6])), flush=True)
    invocation.return_value(GLib.Variant("(u)", (1,)))


def got(bus, name):
    described = interface(name, {"GetCapabilities": ">as", "Notify": "susssasa{sv}i>u"})
    bus.register_object("/org/freedesktop/Notifications", described, call, None, None)


Gio.bus_own_name(Gio.BusType.SESSION, "org.freedesktop.Notifications", 0, got,
                 lambda *_: print("ready", flush=True), None)
GLib.MainLoop().run()
