"""What the forms of this folder share: commands from standard input, reports on standard output.

A form reports {"event": "ready"}, "clicked" (a button), "switched" (a box, with what it is now) and "changed" (a
field's text), and answers each command with {"event": "done", "command": ...}:

    look    says the texts of its fields ("texts"), what is checked ("checked") and what has the focus ("focused")
"""

import json

FRUIT = ("Apples", "Pears", "Plums")


def report(event, **fields):
    print(json.dumps({"event": event, **fields}), flush=True)


class Form:
    """The part without a toolkit. A subclass has `look()`, and calls obey() with each line."""

    def obey(self, line):
        command = line.strip()
        report("done", command=command, **(self.look() if command == "look" else {}))
