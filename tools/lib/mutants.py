"""Makes random small changes to the product, one at a time, and tells which of them the tests do not notice."""

import argparse
import json
import os
import random
import re
import shutil
import signal
import subprocess
import sys
import time
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
COPY = ROOT / "build/mutants/source"
BUILD = ROOT / "build/mutants/build"
RECOGNITION = ("VarkelAgent/ocr/", "VarkelAgent/visual/", "VarkelAgent/platform/linux/vision/")
# The suites on a desktop that reach a file: those of the first beginning that it has.
LINUX = "VarkelAgent/platform/linux/"
SUITES = {
    LINUX + "x11/": "tree actions activation keyboard",
    LINUX + "input/": "keyboard",
    LINUX + "screen/": "mcp sway.mcp gnome",
    LINUX + "wayland/KWin": "plasma",
    LINUX + "wayland/FakeInput": "plasma",
    LINUX + "wayland/Mutter": "gnome",
    LINUX + "wayland/Portal": "portal",
    LINUX + "wayland/": "sway.wayland sway.keyboard sway.actions gnome plasma",
    LINUX + "session/": "sway.wayland gnome plasma portal",
    LINUX + "windows/": "sway.wayland gnome plasma activation",
    LINUX + "applescript/": "scripts",
    LINUX + "apps/": "activation",
    LINUX: "tree actions toolkits sway.tree breakdowns",
    "VarkelAgent/overlay/": "consent",
    "VarkelAgent/inspector/": "inspector",
    "VarkelAgent/mcp/": "mcp",
    "VarkelAgent/": "service docs breakdowns shortages",
}
# What nothing but a desktop reaches; the tests without one cannot notice it.
DESKTOP = tuple(LINUX + room for room in ("x11/", "input/", "screen/", "wayland/", "session/", "windows/"))
SWAPS = {"==": "!=", "!=": "==", "<": "<=", "<=": "<", ">": ">=", ">=": ">", "&&": "||", "||": "&&", "+": "-", "-": "+",
         "*": "/", "/": "*", "+=": "-=", "-=": "+=", "true": "false", "false": "true"}
OPERATOR = re.compile(r" (==|!=|<=|>=|&&|\|\||\+=|-=|[<>+*/-]) |\b(true|false)\b")
NEGATION = re.compile(r"(?<=[(\s])!(?=[\w(*])")
CONSTANT = re.compile(r"(?<![\w.\"'])(\d[\d']*)(?![\w.'])")
# A call or an assignment on a line of its own; declarations, jumps and what a value depends on stay.
STATEMENT = re.compile(r"^\s+(?!return|co_return|using|const|auto|static|case|throw|break|continue|delete|std::\w+<|\w+ \w+)"
                       r"[\w:>.\[\]*()+-]+(\(.*\)| [+|&-]?= .*|\+\+|--);$")
TEXT = re.compile(r'"(?:[^"\\]|\\.)*"|\'(?:[^\'\\]|\\.)\'|//.*')
TEST_LIMIT = 300
DESKTOP_LIMIT = 1800
DESKTOP_TARGETS = ("programs", "post_events", "clock_shim")


def blanked(line: str) -> str:
    """The line with its texts and comments made blank, so that places in it stay the same."""
    return TEXT.sub(lambda match: "_" * len(match[0]), line)


def changes(line: str):
    """Every way to change a line, with what kind it is."""
    code = blanked(line)
    if not code.strip() or code.lstrip().startswith(("#", "*", "template", "static_assert", "namespace", "case ")):
        return
    if "operator" in code or "virtual" in code or code.endswith(") = 0;") or code.endswith("override = 0;"):
        return
    for match in OPERATOR.finditer(code):
        group = 1 if match[1] else 2
        start, end = match.span(group)
        yield "operator", line[:start] + SWAPS[match[group]] + line[end:]
    for match in NEGATION.finditer(code):
        yield "operator", line[:match.start()] + line[match.end():]
    for match in CONSTANT.finditer(code):
        number = int(match[1].replace("'", ""))
        yield "constant", line[:match.start(1)] + str(number + 1) + line[match.end(1):]
    if STATEMENT.match(code) and code.count("(") == code.count(")"):
        indent = line[:len(line) - len(line.lstrip())]
        yield "statement", indent + ";"


def all_mutants(files):
    found = []
    for file in files:
        lines = (ROOT / file).read_text(encoding="utf-8").split("\n")
        for number, line in enumerate(lines):
            for kind, changed in changes(line):
                found.append({"file": file, "line": number + 1, "kind": kind, "before": line, "after": changed})
    return found


def product_files(where):
    tracked = subprocess.run(["git", "ls-files", "VarkelAgent/*.cpp", "VarkelAgent/*.h"], cwd=ROOT, check=True,
                             capture_output=True, text=True).stdout.split()
    if where == "all":
        return tracked
    if where == "recognition":
        return [name for name in tracked if name.startswith(RECOGNITION)]
    if where == "rest":
        return [name for name in tracked if not name.startswith(RECOGNITION)]
    chosen = [name for name in tracked if name.startswith(where)]
    if not chosen:
        sys.exit(f"tools/mutants: no sources in {where}")
    return chosen


def draw(options):
    """Mutants in an order that the seed decides, as many of each kind: constants alone would be most of them."""
    if options.replay:
        with open(options.replay, encoding="utf-8") as file:
            return [json.loads(line) for line in file if line.startswith("{")]
    source = random.Random(options.seed)
    by_kind = {}
    for mutant in all_mutants(product_files(options.where)):
        by_kind.setdefault(mutant["kind"], []).append(mutant)
    for mutants in by_kind.values():
        source.shuffle(mutants)
    drawn = []
    while any(by_kind.values()):
        kind = source.choice(sorted(kind for kind, mutants in by_kind.items() if mutants))
        drawn.append(by_kind[kind].pop())
    return drawn


def run(command, limit=None, **options):
    """The status of a command and what it printed; status None when it took longer than its limit."""
    with subprocess.Popen(command, cwd=COPY, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          errors="replace", start_new_session=True, **options) as process:
        try:
            output, _ = process.communicate(timeout=limit)
            return process.returncode, output
        except subprocess.TimeoutExpired:
            os.killpg(process.pid, signal.SIGKILL)
            return None, process.communicate()[0]
        except BaseException:
            os.killpg(process.pid, signal.SIGKILL)
            raise


def copy_sources():
    """Brings the copy up to date, file by file: what has not changed is not built again."""
    tracked = subprocess.run(["git", "ls-files", "--cached", "--others", "--exclude-standard"], cwd=ROOT, check=True,
                             capture_output=True, text=True).stdout.split("\n")
    wanted = {name for name in tracked if name and (ROOT / name).is_file()}
    for name in wanted:
        source, target = ROOT / name, COPY / name
        if not target.exists() or target.read_bytes() != source.read_bytes():
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy(source, target)
    for path in [path for path in COPY.rglob("*") if path.is_file()]:
        if str(path.relative_to(COPY)) not in wanted:
            path.unlink()


def build(*more):
    return run(["cmake", "--build", str(BUILD), "-j", "2", "--target", "unit_tests", "varkel-mcp", *more])


def suites_of(file):
    """The names of the suites on a desktop that reach a file, as a regular expression."""
    names = next(suites for beginning, suites in SUITES.items() if file.startswith(beginning))
    return r"^desktop\.(" + names.replace(".", r"\.").replace(" ", "|") + ")$"


def test(*which, jobs="4", limit=TEST_LIMIT):
    """Whether the tests notice: they fail, twice, since a busy machine may fail one of them by chance."""
    base = ["ctest", "--test-dir", str(BUILD)]
    status, output = run([*base, *which, "-j", jobs, "--stop-on-failure", "--timeout", "100"], limit)
    failed = re.findall(r"^\s*\d+ - (\S+) \(", output, re.MULTILINE)
    if status == 0:
        return []
    if status is None:
        return ["no end"]
    status, output = run([*base, "-R", "^(" + "|".join(map(re.escape, failed)) + ")$", "--timeout", "100"], limit)
    again = re.findall(r"^\s*\d+ - (\S+) \(", output, re.MULTILINE)
    return again or (["no end"] if status is None else [])


def tests_that_fail(file, desktop):
    """Of the tests without a desktop; when asked for and those miss it, of the suites on one that reach the file."""
    failed = test("-LE", "desktop")
    if failed or not desktop:
        return failed
    status, output = build(*DESKTOP_TARGETS)
    if status != 0:
        sys.exit(output[-3000:])
    return test("-R", suites_of(file), jobs="1", limit=DESKTOP_LIMIT)


def try_mutant(mutant, desktop):
    """What the tests say: "noticed" with the first test's name, "missed" or why there is nothing to say."""
    path = COPY / mutant["file"]
    original = path.read_text(encoding="utf-8")
    lines = original.split("\n")
    at = mutant["line"] - 1
    if at >= len(lines) or lines[at] != mutant["before"]:
        places = [number for number, line in enumerate(lines) if line == mutant["before"]]
        if len(places) != 1:
            return "gone", ""
        at = places[0]
    lines[at] = mutant["after"]
    path.write_text("\n".join(lines), encoding="utf-8")
    try:
        status, _ = build()
        if status != 0:
            return "does not compile", ""
        failed = tests_that_fail(mutant["file"], desktop)
        return ("noticed", failed[0]) if failed else ("missed", "")
    finally:
        path.write_text(original, encoding="utf-8")


def prepare():
    copy_sources()
    status, output = run(["cmake", "-G", "Ninja", "-S", str(COPY), "-B", str(BUILD), "-DCMAKE_BUILD_TYPE=Release",
                          "-DCMAKE_EXE_LINKER_FLAGS=-fuse-ld=gold"])
    if status == 0:
        status, output = build()
    if status != 0:
        sys.exit(output[-3000:])
    if failed := test("-LE", "desktop"):
        sys.exit(f"these tests fail without any change: {failed}")


def main():
    parser = argparse.ArgumentParser(prog="tools/mutants", description=__doc__)
    parser.add_argument("--count", type=int, default=40, help="how many that compile")
    parser.add_argument("--seed", default="1")
    parser.add_argument("--where", default="rest",
                        help='"recognition", "rest" (all but that), "all", or the beginning of paths')
    parser.add_argument("--replay", metavar="FILE", help="the changes that an earlier run printed to this file")
    parser.add_argument("--log", metavar="FILE", help="where every change goes with its outcome, one JSON a line")
    parser.add_argument("--desktop", action="store_true",
                        help="try what the other tests miss on the desktop suites that reach the file as well")
    parser.add_argument("--list", action="store_true", help="only tell what would be changed")
    options = parser.parse_args()
    mutants = draw(options)
    if options.list:
        for mutant in mutants[:options.count]:
            print(f"{mutant['file']}:{mutant['line']}\n- {mutant['before'].strip()}\n+ {mutant['after'].strip()}")
        return 0
    prepare()
    counts, reachable = {"noticed": 0, "missed": 0}, {"noticed": 0, "missed": 0}
    for mutant in mutants:
        if sum(counts.values()) == options.count:
            break
        began = time.monotonic()
        outcome, test_name = try_mutant(mutant, options.desktop)
        if outcome not in counts:
            continue
        counts[outcome] += 1
        reachable[outcome] += not mutant["file"].startswith(DESKTOP)
        if options.log:
            with open(options.log, "a", encoding="utf-8") as file:
                file.write(json.dumps({**mutant, "outcome": outcome, "test": test_name}) + "\n")
        print(f"{outcome:8} {mutant['file']}:{mutant['line']}  {test_name}  ({time.monotonic() - began:.0f} s)\n"
              f"    - {mutant['before'].strip()}\n    + {mutant['after'].strip()}", flush=True)
    total = sum(counts.values())
    print(f"{counts['noticed']} of {total} noticed, seed {options.seed}, {options.where}; "
          f"{reachable['noticed']} of {sum(reachable.values())} outside of what only a desktop reaches")
    return 0


if __name__ == "__main__":
    sys.exit(main())
