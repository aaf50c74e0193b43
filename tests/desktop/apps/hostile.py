#!/usr/bin/python3
"""An application whose accessibility hierarchy is out of order. Usage: hostile.py KIND

It speaks AT-SPI by itself, with no toolkit in between, and makes its objects when they are first named. It prints
"ready" when the registry knows it. Kinds: see HIERARCHIES and main().
"""

import os
import signal
import sys

from gi.repository import Gio, GLib

ROOT = 0
PREFIX = "/org/a11y/atspi/accessible/"
PATH_OF_ROOT = PREFIX + "root"
APPLICATION_ROLE, FRAME_ROLE, BUTTON_ROLE = 75, 23, 43
ACTIVE = 1

# For a node's number, the numbers of its children.
HIERARCHIES = {
    "ordinary": lambda n: [1, 2, 3] if n == ROOT else [],
    "loop": lambda n: [(n + 1) % 5],
    "itself": lambda n: [1] if n == ROOT else [n, n],
    "patient": lambda n: {ROOT: [1], 1: [2, 3, 4]}.get(n, []),
    "wide": lambda n: list(range(1, 1501)) if n == ROOT else [],
    "very wide": lambda n: range(1, 200_001) if n == ROOT else [],
    "stops": lambda n: list(range(1, 501)) if n == ROOT else [],
    "dies": lambda n: list(range(1, 501)) if n == ROOT else [],
}
# Of these, what it does to itself in the middle of being read, after so many answers.
FAULTS = {"stops": signal.SIGSTOP, "dies": signal.SIGKILL}
ANSWERS_BEFORE_FAULT = 300
ODD_KINDS = ("wrong types", "silent", "huge text", "strangers", "bad text")

ACCESSIBLE = """
<node><interface name="org.a11y.atspi.Accessible">
  <property name="Name" type="{text}" access="read"/>
  <property name="AccessibleId" type="{text}" access="read"/>
  <property name="Parent" type="(so)" access="read"/>
  <property name="ChildCount" type="{count}" access="read"/>
  <method name="GetChildAtIndex"><arg type="i" direction="in"/><arg type="(so)" direction="out"/></method>
  <method name="GetChildren"><arg type="{children}" direction="out"/></method>
  <method name="GetRole"><arg type="{role}" direction="out"/></method>
  <method name="GetState"><arg type="{states}" direction="out"/></method>
  <method name="GetInterfaces"><arg type="as" direction="out"/></method>
</interface></node>"""
APPLICATION = """
<node><interface name="org.a11y.atspi.Application">
  <property name="ToolkitName" type="s" access="read"/>
  <property name="Version" type="s" access="read"/>
  <property name="Id" type="i" access="readwrite"/>
</interface></node>"""
USUAL = {"text": "s", "count": "i", "children": "a(so)", "role": "u", "states": "au"}
WRONG = {"text": "i", "count": "s", "children": "as", "role": "s", "states": "s"}


class Application:
    def __init__(self, kind):
        self.kind = kind
        self.children_of = HIERARCHIES.get(kind, HIERARCHIES["ordinary"])
        self.types = WRONG if kind == "wrong types" else USUAL
        self.info = Gio.DBusNodeInfo.new_for_xml(ACCESSIBLE.format(**self.types)).interfaces[0]
        self.known = set()
        self.waiting = {}
        self.answers = 0
        session = Gio.bus_get_sync(Gio.BusType.SESSION)
        address, = session.call_sync("org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress", None,
                                     GLib.VariantType("(s)"), Gio.DBusCallFlags.NONE, -1)
        flags = Gio.DBusConnectionFlags
        self.bus = Gio.DBusConnection.new_for_address_sync(
            address, flags.AUTHENTICATION_CLIENT | flags.MESSAGE_BUS_CONNECTION)
        self.name = self.bus.get_unique_name()

    def register(self):
        self.make(ROOT)
        application = Gio.DBusNodeInfo.new_for_xml(APPLICATION).interfaces[0]
        self.bus.register_object(PATH_OF_ROOT, application, None, self.application_property, lambda *_: True)
        self.bus.call_sync("org.a11y.atspi.Registry", PATH_OF_ROOT, "org.a11y.atspi.Socket", "Embed",
                           GLib.Variant("((so))", ((self.name, PATH_OF_ROOT),)), None, Gio.DBusCallFlags.NONE, -1)

    def application_property(self, _bus, _sender, _path, _interface, name):
        return GLib.Variant("i", 1) if name == "Id" else GLib.Variant("s", "hostile")

    def path(self, node):
        return PATH_OF_ROOT if node == ROOT else PREFIX + str(node)

    def make(self, node):
        """Makes an object that can be asked; gives its reference."""
        if node not in self.known:
            self.known.add(node)
            self.bus.register_object(
                self.path(node), self.info, lambda *call: self.wait(node, lambda: self.answer(node, call[4], call[6])),
                lambda *query: self.property(node, query[4]), None)
        return self.name, self.path(node)

    def children(self, node):
        numbers = self.children_of(node)
        if self.kind == "strangers" and node == ROOT:
            # Nobody, a name nobody may have, an object that is not there, and the registry's own root.
            return [(":1.99999", self.path(1)), ("", "/"), (self.name, PREFIX + "none"),
                    ("org.a11y.atspi.Registry", PATH_OF_ROOT), (self.name, PATH_OF_ROOT)]
        # Of a very wide list only the first objects exist.
        return [self.make(n) if i < 1500 else (self.name, self.path(n)) for i, n in enumerate(numbers)]

    def wait(self, node, answer):
        """A "patient" application looks up once it has been asked about two of its window's elements at a time."""
        if self.kind != "patient" or node < 2 or self.waiting is None:
            return answer()
        self.waiting.setdefault(node, []).append(answer)
        if len(self.waiting) < 2:
            return None
        answers, self.waiting = self.waiting, None
        for each in sum(answers.values(), []):
            each()
        return None

    def property(self, node, name):
        if name in ("Name", "AccessibleId") and self.types is WRONG:
            return GLib.Variant("i", 7)
        if name == "ChildCount":
            if self.types is WRONG:
                return GLib.Variant("s", "many")
            return GLib.Variant("i", -5 if self.kind == "strangers" else len(self.children_of(node)))
        if name == "Parent":
            return GLib.Variant("(so)", (self.name, PATH_OF_ROOT))
        if name == "Name" and self.kind == "huge text":
            return GLib.Variant("s", "long " * 2_000_000)
        if name == "Name" and self.kind == "bad text":
            return GLib.Variant("s", "quote \" backslash \\ control \x01 \x7f line \u2028 emoji \U0001F600")
        return GLib.Variant("s", f"node {node}" if name == "Name" else "")

    def answer(self, node, method, invocation):
        self.answers += 1
        if self.kind in FAULTS and self.answers == ANSWERS_BEFORE_FAULT:
            os.kill(os.getpid(), FAULTS[self.kind])
        if self.kind == "silent" and node != ROOT:
            return  # the caller waits for good
        if self.types is WRONG and method in ("GetChildren", "GetRole", "GetState"):
            value = GLib.Variant("(as)", (["x"],)) if method == "GetChildren" else GLib.Variant("(s)", ("x",))
        else:
            role = APPLICATION_ROLE if node == ROOT else FRAME_ROLE if self.children_of(node) else BUTTON_ROLE
            value = {
                "GetChildren": lambda: GLib.Variant("(a(so))", (self.children(node),)),
                "GetChildAtIndex": lambda: GLib.Variant("((so))", (self.children(node)[0],)),
                "GetRole": lambda: GLib.Variant("(u)", (role,)),
                "GetState": lambda: GLib.Variant("(au)", ([1 << 8 | (role == FRAME_ROLE) << ACTIVE, 0],)),
                "GetInterfaces": lambda: GLib.Variant("(as)", (["org.a11y.atspi.Accessible"],)),
            }[method]()
        invocation.return_value(value)


def main():
    kind = sys.argv[1]
    if kind not in HIERARCHIES and kind not in ODD_KINDS:
        sys.exit(f"unknown kind {kind!r}")
    application = Application(kind)
    application.register()
    print("ready", flush=True)
    GLib.MainLoop().run()


if __name__ == "__main__":
    main()
