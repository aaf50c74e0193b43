"""Works real programs of every toolkit through the agent, each on a private desktop of its own.

Of each program: the agent's tree beside a walk by the usual Python bindings, the place of its window, and a task whose
outcome is read past the agent. Without a NAME all of them, and docs/applications.md is written; with NAMEs those, and
what came of them is printed. Status 0 when every task came out.
"""

import argparse
import json
import os
import signal
import subprocess
import sys
import tempfile
import time
import traceback
from pathlib import Path

ROOT = Path(__file__).resolve().parents[3]
sys.path[:0] = [str(ROOT / "tools/lib"), str(Path(__file__).resolve().parent)]
import table  # noqa: E402
from agent import walk  # noqa: E402
from private_desktop import PrivateDesktop, exit_on_signals  # noqa: E402
from programs import PROGRAMS  # noqa: E402

SECONDS_EACH = 420
CALM = 2.0


def census(visit, accessible):
    """The agent's tree beside the bindings' walk, after the program has come to rest."""
    import bindings
    began = time.monotonic()
    first = visit.agent.tree(visit.pid, timeout=60)
    facts = {"first_seconds": time.monotonic() - began, "first_status": first.status}
    comparison, more = bindings.compare(visit.agent, visit.bindings, visit.pid)
    facts.update(more)
    if comparison:
        facts.update(same=comparison.same, differences=str(comparison), examples=comparison.examples,
                     differing=comparison.count)
    elif not accessible:
        facts["same"] = facts["elements"] == 1
    return facts


def settle(visit):
    """Waits until two walks by the bindings, a little apart, find as many elements; bounded, since some never rest.
    Programs come to the accessibility bus some time after their window."""
    count, until = 0, time.monotonic() + 30
    while time.monotonic() < until:
        record, seconds = visit.bindings.walk(visit.pid)
        now = sum(1 for _ in record) if record else 0
        if (now and now == count) or seconds > 10:
            return
        count = now
        time.sleep(CALM)


def step(result, name, visit, do):
    """Runs one part of a visit; its failure is a result, too."""
    try:
        value = do()
        result[name] = value
    except Exception as error:  # pylint: disable=broad-except
        result.setdefault("faults", []).append(f"{name}: {error or repr(error)}")
        if os.environ.get("ZOO_TRACE"):
            traceback.print_exc()
    if visit.pid and not visit.lives():
        result.setdefault("faults", []).append(f"{name}: the program has died")
        raise SystemExit(1)


def visit_one(name, output, show):
    """In a process of its own: the bindings know one desktop only."""
    from visit import Visit, window_place
    program = PROGRAMS[name]
    result = {"name": name}
    exit_on_signals()
    try:
        with PrivateDesktop() as desktop:
            os.environ.update(desktop.environment)
            folder = os.path.join(desktop.environment["HOME"], "zoo")
            os.mkdir(folder)
            visit = Visit(desktop, folder)
            try:
                step(result, "start", visit, lambda: visit.start(program.prepare(visit), program.environment,
                                                                 program.seconds, program.title))
                if visit.pid:
                    if program.accessible:
                        settle(visit)
                    step(result, "census", visit, lambda: census(visit, program.accessible))
                    if program.accessible:
                        step(result, "place", visit, lambda: window_place(visit))
                    if "place" in result and not result["place"][1]:
                        result.setdefault("faults", []).append(f"place: {result['place'][0]}")
                    if show:
                        print_tree(visit, name)
                    step(result, "task", visit, lambda: program.task(visit))
            finally:
                result["methods"] = visit.methods
                if visit.faults:
                    result.setdefault("faults", []).extend(visit.faults)
                if result.get("faults"):
                    result["titles"] = visit.titles()
                    picture = os.path.join(tempfile.gettempdir(), f"zoo-{name}.png")
                    desktop.screenshot(picture)
                    result["picture"] = picture
                visit.end()
    except SystemExit:
        pass
    except Exception as error:  # pylint: disable=broad-except
        result.setdefault("faults", []).append(f"{type(error).__name__}: {error}")
    finally:
        with open(output, "w", encoding="utf-8") as file:
            json.dump(result, file)


def print_tree(visit, name):
    """Prints the agent's tree, for who writes a task."""
    tree = visit.agent.tree(visit.pid, timeout=60).json()["tree"]
    depth = {id(tree): 0}
    for element in walk(tree):
        level = depth[id(element)]
        for child in element.get("children", []):
            depth[id(child)] = level + 1
        frame = element.get("frame")
        place = f" {[int(frame[k]) for k in ('x', 'y', 'width', 'height')]}" if frame else ""
        state = ("" if element.get("enabled") else " disabled") + (" focused" if element.get("focused") else "")
        value = f" = {element['value'][:60]!r}" if element.get("value") else ""
        print(f"{name}: {'  ' * level}{element['role']} {element.get('label', '')!r}{value}{place}{state}")


def visit_apart(name, show):
    """Visits a program in a child process, which a time limit ends, and gives the result."""
    with tempfile.TemporaryDirectory(prefix="varkel-zoo-") as folder:
        output = os.path.join(folder, "result.json")
        command = [sys.executable, __file__, "--one", name, "--output", output] + ["--show"] * show
        process = subprocess.Popen(command, start_new_session=True)
        try:
            process.wait(SECONDS_EACH)
        except subprocess.TimeoutExpired:
            os.kill(process.pid, signal.SIGTERM)  # it ends its desktop, and everything on it
            try:
                process.wait(30)
            except subprocess.TimeoutExpired:
                os.killpg(process.pid, signal.SIGKILL)
                process.wait()
            return {"name": name, "faults": [f"not done after {SECONDS_EACH} s"]}
        except BaseException:
            os.kill(process.pid, signal.SIGTERM)
            process.wait(30)
            raise
        try:
            with open(output, encoding="utf-8") as file:
                return json.load(file)
        except (OSError, ValueError):
            return {"name": name, "faults": [f"the visit ended with status {process.returncode}"]}


def main():
    parser = argparse.ArgumentParser(prog="tools/zoo", description=__doc__)
    parser.add_argument("names", metavar="NAME", nargs="*", help="one of " + ", ".join(PROGRAMS))
    parser.add_argument("--show", action="store_true", help="print the agent's trees as well")
    parser.add_argument("--json", metavar="FILE", help="write what was found to this file as well")
    parser.add_argument("--one", help=argparse.SUPPRESS)
    parser.add_argument("--output", help=argparse.SUPPRESS)
    options = parser.parse_args()
    if options.one:
        visit_one(options.one, options.output, options.show)
        return 0
    unknown = [name for name in options.names if name not in PROGRAMS]
    if unknown:
        parser.error(f"no program {', '.join(unknown)}; there are {', '.join(PROGRAMS)}")
    exit_on_signals()
    results = []
    for name in options.names or PROGRAMS:
        results.append(visit_apart(name, options.show))
        print(table.report(results[-1]), flush=True)
    if options.json:
        Path(options.json).write_text(json.dumps(results, indent=1), encoding="utf-8")
    if not options.names:
        (ROOT / "docs/applications.md").write_text(table.page(results), encoding="utf-8")
    return 0 if all("task" in result and not result.get("faults") for result in results) else 1


if __name__ == "__main__":
    sys.exit(main())
