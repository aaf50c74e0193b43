"""What came of the visits, as lines for the terminal and as the page for users."""

import platform
import subprocess
import textwrap

from programs import KNOWN, PROGRAMS

HEAD = """# Applications

What the agent does with programs as Debian {debian} has them, tried one after the other by `tools/zoo`, which installs
them, starts each on a private desktop of its own and writes this page. `tools/zoo NAME` tries one, and changes nothing
here. None was started with a switch or a setting for accessibility, except where the last section says so.
"""

TREES = """## What is read

The tree of POST `/ax/tree` beside a walk by the usual Python bindings of AT-SPI (`gi.repository.Atspi`) at the same
moment: elements and their order, names, texts, and whether they are enabled and focused. Both read roles, identifiers
and places as well. "The first time" is the first request after the program's start. Times are those of one run on
{machine}.

| program | toolkit | version | elements | beside the bindings | ms | the first time | bindings' ms |
|---|---|---|---|---|---|---|---|
"""

TASKS = """## Where it is, and what was done

"Window" is how the window's frame in the tree lies to the window that the X server knows; a frame may enclose the
contents, the contents without the shadow that the program draws itself, or the window manager's border as well. Each
task was done through the agent, and its outcome was read past it. In some of them the mouse was clicked, past the
agent, in the middle of an element's frame: what that did is part of the outcome.

| program | window | what was done, and where the outcome was read | the agent's methods |
|---|---|---|---|
"""


def _milliseconds(seconds):
    return f"{seconds * 1000:.0f}" if seconds is not None else "–"


def _verdict(census):
    """How the two trees compare, in a few words."""
    if "same" not in census:
        return "not compared"
    if not census["bindings_elements"]:
        return "neither finds any"
    return "the same" if census["same"] else census["differences"]


def report(result):
    """Some lines about one program."""
    lines = [result["name"]]
    census = result.get("census")
    if census:
        times = [_milliseconds(census[which]) for which in ("seconds", "first_seconds", "bindings_seconds")]
        lines.append("tree       {} elements in {} ms (the first time {}), by the bindings {} in {}: {}".format(
            census["elements"], *times[:2], census["bindings_elements"], times[2], _verdict(census)))
        lines += ["             " + example for example in census.get("examples", []) if not census.get("same")]
    if "place" in result:
        lines.append(f"place      {result['place'][0]}")
    if "task" in result:
        lines.append(f"task       {result['task']}")
    if result.get("methods"):
        lines.append(f"           by {', '.join(result['methods'])}")
    lines += [f"FAULT      {fault}" for fault in result.get("faults", [])]
    if "picture" in result:
        lines.append(f"           windows {result.get('titles')}, screen in {result['picture']}")
    return "\n    ".join(lines)


def _version(package):
    done = subprocess.run(["dpkg-query", "--show", "--showformat=${Version}", package], capture_output=True, text=True,
                          check=False)
    return done.stdout.partition(":")[2] or done.stdout or "?"


def _row(*cells):
    return "| " + " | ".join(str(cell).replace("|", "\\|").replace("\n", " ") for cell in cells) + " |\n"


def _tree_row(result):
    program, census = PROGRAMS[result["name"]], result.get("census")
    start = (program.name, program.toolkit, _version(program.package))
    if not census:
        return _row(*start, *("–",) * 5)
    return _row(*start, census["elements"], _verdict(census), _milliseconds(census["seconds"]),
                _milliseconds(census["first_seconds"]), _milliseconds(census["bindings_seconds"]))


def _task_row(result):
    done = result.get("task") or "**failed**"
    if result.get("faults"):
        done += ". Faults: " + "; ".join(fault.partition(":")[0] + ":" + fault.partition(":")[2][:200]
                                         for fault in result["faults"])
    methods = dict.fromkeys(result.get("methods", []))
    return _row(result["name"], result.get("place", ["–"])[0], done, ", ".join(methods))


def _machine():
    with open("/proc/cpuinfo", encoding="ascii", errors="replace") as file:
        processors = sum(line.startswith("processor") for line in file)
    return f"a machine with {processors} processors and no graphics card"


def page(results):
    """The page for users, in Markdown."""
    text = HEAD.format(debian=platform.freedesktop_os_release().get("VERSION_ID", "?"))
    text += "\n" + TREES.format(machine=_machine()) + "".join(map(_tree_row, results))
    text += "\n" + TASKS + "".join(map(_task_row, results))
    text += "\n## What is known not to work, and what to know\n\n"
    return text + "".join(_paragraph(f"- **{what}**: {why}") for what, why in KNOWN)


def _paragraph(text):
    return textwrap.fill(" ".join(text.split()), 120, subsequent_indent="  ", break_long_words=False,
                         break_on_hyphens=False) + "\n"
