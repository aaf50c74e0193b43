"""Types a mixed text into real applications under several layouts and counts what arrives wrong, beside xdotool.

    tools/bench typing [--rounds 20] [--characters 2000] [--delays 12,1] [--targets gtk,xterm,chromium,foot,gtk3,gtk4,qt5,qt6]
                       [--layouts us,de,fr] [--no-xdotool] [--wayland|--gnome|--plasma]

A full run takes hours (2,000 characters at 18 ms are 36 s, times rounds, delays, targets and layouts). Errors are
counted by aligning what the application holds with what was typed: lost, added (doubled or stray), wrong."""

import argparse
import difflib
import functools
import os
import random
import subprocess
import sys
import time
import unicodedata

_ROOT = os.path.dirname(os.path.dirname(os.path.abspath(__file__)))
sys.path[:0] = [os.path.join(_ROOT, folder) for folder in ("tools/lib", "tests/desktop", "bench/apps")]

from agent import Agent  # noqa: E402
from kwin_desktop import KWinDesktop  # noqa: E402
from mutter_desktop import MutterDesktop  # noqa: E402
from private_desktop import PrivateDesktop, exit_on_signals  # noqa: E402
from sway_desktop import SwayDesktop  # noqa: E402
from terminal_and_browser import ChromiumTarget, FootTarget, XTermTarget  # noqa: E402
from typing_targets import FormTarget, GtkTarget, wait_for_text  # noqa: E402

_TARGETS = {target.name: target for target in (GtkTarget, XTermTarget, FootTarget, ChromiumTarget)}
_TARGETS.update({name: functools.partial(FormTarget, toolkit=name) for name in ("gtk3", "gtk4", "qt5", "qt6")})

# On mutter, a terminal that is not on the accessibility bus would not be noticed; foot ends at its start on KWin here.
_WAYLAND = {"wayland": (SwayDesktop, ["gtk3", "gtk4", "qt5", "foot"], "sway's"),
            "gnome": (MutterDesktop, ["gtk3", "gtk4", "qt5"], "mutter's"),
            "plasma": (KWinDesktop, ["gtk3", "gtk4", "qt5"], "KWin's")}

_PIECES = {
    "plain": "the quick brown fox jumps over the lazy dog 0123456789",
    "capitals": "THE QUICK BROWN FOX JUMPS OVER",
    "punctuation": "!\"#$%&'()*+,-./:;<=>?@[\\]^_`{|}~",
    "latin": "äöüÄÖÜßéèêëàâçñõåøæœÅÉ¿¡§°µ²³",
    "money": "€£¥¢",
    "typography": "–—“”‘’…•„‚«»",
    "greek": "αβγδεζηθικλμνξοπρστυφχψωΑΒΓΔΘΛΞΠΣΦΨΩάέ",
    "cyrillic": "абвгдежзийклмнопрстуфхцчшщъыьэюя",
    "cjk": "漢字仮名交文書日本語中国人大小上下左右水火木金土月山川田力男女子学生先年時間分半毎今何私あいうえおかきくけこアイウエオ한국어글자",
    "emoji": "😀😂🚀🎉🔥🌍🦊🐧",
}
_CLUSTERS = ["e\u0301", "n\u0303", "a\u0308\u0304", "👨‍👩‍👧", "👍🏽", "🇩🇪", "1️⃣", "❤️", "क्षि", "กำ"]


def mixed_text(length, seed):
    """A text of `length` code points, the same for the same seed: words of one script each."""
    source = random.Random(seed)
    weights = {"plain": 8, "capitals": 3, "punctuation": 4}
    text = ""
    while len(text) < length:
        kind = source.choices([*_PIECES, "cluster"], [*(weights.get(name, 2) for name in _PIECES), 2])[0]
        if kind == "cluster":
            word = "".join(source.choices(_CLUSTERS, k=source.randint(1, 3)))
        else:
            word = "".join(source.choices(_PIECES[kind].replace(" ", ""), k=source.randint(2, 9)))
        text += word + " "
    text = text[:length]
    while unicodedata.combining(text[-1]) or text[-1] in "\u200d ":
        text = text[:-1] + "."
    return text


def errors(expected, found):
    """(wrong, lost, added) code points."""
    if expected == found:
        return 0, 0, 0
    wrong = lost = added = 0
    for kind, i1, i2, j1, j2 in difflib.SequenceMatcher(None, expected, found, False).get_opcodes():
        if kind == "equal":
            continue
        common = min(i2 - i1, j2 - j1)
        wrong += common
        lost += i2 - i1 - common
        added += j2 - j1 - common
    return wrong, lost, added


def first_difference(expected, found):
    at = next((i for i, (a, b) in enumerate(zip(expected, found)) if a != b), min(len(expected), len(found)))
    return f"at {at}: typed {ascii(expected[at:at + 12])}, arrived {ascii(found[at:at + 12])}"


def type_with_agent(agent, text, delay):
    answer = agent.request("POST", "/keystrokes", {"text": text, "delay_ms": delay}, timeout=600)
    if answer.status != 200:
        raise RuntimeError(f"{answer.status} {answer.body[:300]!r}")


def type_with_xdotool(desktop, text, delay):
    # Its delay is the whole time of a key; ours is one and a half times its number.
    subprocess.run(["xdotool", "type", "--delay", str(max(1, round(delay * 1.5))), "--file", "-"],
                   input=text.encode(), env=desktop.environment, check=True, timeout=900)


def run(desktop, agent, options):
    print(f"{'layout':7}{'target':10}{'delay':>6}  {'tool':9}{'rounds':>7}{'characters':>11}{'wrong':>7}{'lost':>6}"
          f"{'added':>6}  seconds per text", flush=True)
    failed = False
    # In this order, since a desktop may have to begin anew for another layout.
    for layout in options.layouts:
        desktop.set_layout(layout)
        for name in options.targets:
            with _TARGETS[name](desktop) as target:
                for delay in options.delays:
                    for tool in options.tools:
                        failed |= measure(desktop, agent, (name, target), layout, delay, tool, options)
    return failed


def measure(desktop, agent, named_target, layout, delay, tool, options):
    name, target = named_target
    totals, seconds, example = [0, 0, 0], 0.0, None
    rounds = options.rounds if tool == "agent" else options.xdotool_rounds
    for number in range(rounds):
        text = mixed_text(options.characters, f"{options.seed}-{number}")
        desktop.activate(target.window)
        target.clear()
        began = time.monotonic()
        if tool == "agent":
            type_with_agent(agent, text, delay)
        else:
            type_with_xdotool(desktop, text, delay)
        seconds += time.monotonic() - began
        found = wait_for_text(target, text)
        if found != text and example is None:
            example = first_difference(text, found)
        totals = [sum(pair) for pair in zip(totals, errors(text, found))]
    print(f"{layout:7}{name:10}{delay:6}  {tool:9}{rounds:7}{rounds * options.characters:11}"
          f"{totals[0]:7}{totals[1]:6}{totals[2]:6}  {seconds / max(1, rounds):.1f}", flush=True)
    if example:
        print(f"       first: {example}", flush=True)
    return tool == "agent" and any(totals)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--rounds", type=int, default=20)
    parser.add_argument("--xdotool-rounds", type=int, default=None, help="default: as --rounds")
    parser.add_argument("--characters", type=int, default=2000)
    parser.add_argument("--delays", type=lambda text: [int(part) for part in text.split(",")], default=[12, 1])
    parser.add_argument("--targets", type=lambda text: text.split(","), default=None)
    parser.add_argument("--layouts", type=lambda text: text.split(","), default=["us", "de", "fr"])
    parser.add_argument("--seed", default="varkel")
    parser.add_argument("--no-xdotool", dest="tools", action="store_const", const=["agent"],
                        default=["agent", "xdotool"])
    desktop = parser.add_mutually_exclusive_group()
    for name, (kind, targets, whose) in _WAYLAND.items():
        desktop.add_argument("--" + name, dest="desktop", action="store_const", const=(kind, targets),
                             help=f"on a desktop of {whose}, where xdotool is left out")
    options = parser.parse_args()
    make_desktop, targets = options.desktop or (PrivateDesktop, ["gtk", "xterm", "chromium"])
    if options.desktop:
        options.tools = ["agent"]
    options.targets = options.targets or targets
    if options.xdotool_rounds is None:
        options.xdotool_rounds = options.rounds
    exit_on_signals()
    with make_desktop() as desktop:
        agent = Agent(desktop.start, desktop.directory)
        sys.exit(1 if run(desktop, agent, options) else 0)


if __name__ == "__main__":
    main()
