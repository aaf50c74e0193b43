"""What the forms of this folder share: commands from standard input, reports on standard output.

A form reports {"event": "ready"}, "clicked" (a button), "switched" (a box, with what it is now) and "changed" (a
field's text), and answers each command with {"event": "done", "command": ...}:

    look    says the texts of its fields ("texts"), what is checked ("checked"), what has the focus ("focused") and how
            often the timer has come ("ticks")
    tick    a timer changes a label and the rows of a list, forty times a second
    rest    the timer stops
"""

import json

TICK_MS = 25
ROWS = 5
FRUIT = ("Apples", "Pears", "Plums")


def report(event, **fields):
    print(json.dumps({"event": event, **fields}), flush=True)


class Form:
    """The part without a toolkit. A subclass has `start_timer()`, `stop_timer()`, `look()`, `show_ticks(text)`,
    `set_rows(texts)`, and calls obey() with each line and tick() when its timer comes."""

    def __init__(self):
        self.ticks = 0

    def tick(self):
        self.ticks += 1
        self.show_ticks(f"Tick {self.ticks}")
        self.set_rows([f"Row {self.ticks + each}" for each in range(self.ticks % ROWS)])

    def obey(self, line):
        command = line.strip()
        answer = {}
        if command == "tick":
            self.start_timer()
        elif command == "rest":
            self.stop_timer()
        elif command == "look":
            answer = {**self.look(), "ticks": self.ticks}
        report("done", command=command, **answer)
