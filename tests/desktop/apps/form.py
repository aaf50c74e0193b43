"""What the applications of this folder share: commands from standard input, reports on standard output.

They report {"event": "ready"}, what is done to them, and answer each command with {"event": "done", "command": ...} and
what it asks for. Each obeys "look"; a form says the texts of its fields then ("texts"), what is checked ("checked") and
what has the focus ("focused").
"""

import json
import sys

FRUIT = ("Apples", "Pears", "Plums")


def report(event, **fields):
    print(json.dumps({"event": event, **fields}), flush=True)


class Form:
    """The part without a toolkit. A subclass has a method for each command, which gives what it asks for, if anything."""

    def obey(self, line):
        command = line.strip()
        report("done", command=command, **(getattr(self, command)() or {}))

    def on_input(self, *_):
        """Obeys what has come on the standard input. Whether more may come."""
        line = sys.stdin.readline()
        if line:
            self.obey(line)
        return bool(line)

    def obey_in_glib(self):
        from gi.repository import GLib
        GLib.io_add_watch(GLib.IOChannel.unix_new(0), GLib.PRIORITY_LOW, GLib.IOCondition.IN | GLib.IOCondition.HUP,
                          self.on_input)
