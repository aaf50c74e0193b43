#!/usr/bin/python3
"""An application that stops or ends in the middle of being read. Usage: failing.py stops|dies

It speaks AT-SPI by itself, with no toolkit in between: a window of five hundred buttons. It prints "ready" when the
registry knows it.
"""

import os
import signal
import sys

from dbus_interface import interface
from gi.repository import Gio, GLib

FAULTS = {"stops": signal.SIGSTOP, "dies": signal.SIGKILL}
ANSWERS_BEFORE_FAULT, BUTTONS = 300, 500
ROOT = "/org/a11y/atspi/accessible/root"
APPLICATION_ROLE, BUTTON_ROLE = 75, 43
METHODS = {"GetChildren": ">a(so)", "GetRole": ">u", "GetState": ">au", "GetInterfaces": ">as"}


class Application:
    def __init__(self, fault):
        self.fault, self.answers = fault, 0
        session = Gio.bus_get_sync(Gio.BusType.SESSION)
        address, = session.call_sync("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress", None,
                                     GLib.VariantType("(s)"), Gio.DBusCallFlags.NONE, -1)
        flags = Gio.DBusConnectionFlags
        self.bus = Gio.DBusConnection.new_for_address_sync(
            address, flags.AUTHENTICATION_CLIENT | flags.MESSAGE_BUS_CONNECTION)
        self.name = self.bus.get_unique_name()
        accessible = interface("org.a11y.atspi.Accessible", METHODS, {"Name": "s", "ChildCount": "i"})
        self.buttons = [(self.name, f"{ROOT}/{number}") for number in range(BUTTONS)]
        for path in (ROOT, *(path for _, path in self.buttons)):
            self.bus.register_object(path, accessible, self.answer, self.property, None)
        self.bus.call_sync("org.a11y.atspi.Registry", ROOT, "org.a11y.atspi.Socket", "Embed",
                           GLib.Variant("((so))", ((self.name, ROOT),)), None, Gio.DBusCallFlags.NONE, -1)

    @staticmethod
    def property(_bus, _sender, path, _interface, name):
        return GLib.Variant("s", path) if name == "Name" else GLib.Variant("i", BUTTONS if path == ROOT else 0)

    def answer(self, _bus, _sender, path, _interface, method, _arguments, invocation):
        self.answers += 1
        if self.answers == ANSWERS_BEFORE_FAULT:
            os.kill(os.getpid(), self.fault)
        invocation.return_value({
            "GetChildren": GLib.Variant("(a(so))", (self.buttons if path == ROOT else [],)),
            "GetRole": GLib.Variant("(u)", (APPLICATION_ROLE if path == ROOT else BUTTON_ROLE,)),
            "GetState": GLib.Variant("(au)", ([1 << 8, 0],)),
            "GetInterfaces": GLib.Variant("(as)", (["org.a11y.atspi.Accessible"],)),
        }[method])


def main():
    application = Application(FAULTS[sys.argv[1]])
    print("ready", flush=True)
    GLib.MainLoop().run()
    return application


if __name__ == "__main__":
    main()
