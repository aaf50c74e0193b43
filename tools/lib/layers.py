"""Holds the includes of the sources against the folders that docs/architecture.md lets each folder use."""

import re
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
SOURCES = ROOT / "VarkelAgent"
RULE = re.compile(r"^    ([\w/]+) +uses +([\w/, ]+)$", re.MULTILINE)


def rules() -> dict[str, set[str]]:
    """Which folders each folder may use: the lines "FOLDER uses FOLDER, FOLDER" of the page."""
    page = (ROOT / "docs" / "architecture.md").read_text()
    found = {match[1]: {name.strip() for name in match[2].split(",")} - {"nothing"} for match in RULE.finditer(page)}
    unknown = {name for used in found.values() for name in used} - found.keys()
    if not found or unknown:
        sys.exit(f"docs/architecture.md: no such folders: {sorted(unknown)}")
    return found


def first_cycle(allowed: dict[str, set[str]]) -> list[str]:
    """Folders that use one another in a circle, or none."""
    done: set[str] = set()

    def visit(folder: str, path: list[str]) -> list[str]:
        if folder in path:
            return path[path.index(folder):] + [folder]
        if folder in done:
            return []
        for used in sorted(allowed[folder]):
            if cycle := visit(used, path + [folder]):
                return cycle
        done.add(folder)
        return []

    return next((cycle for folder in allowed if (cycle := visit(folder, []))), [])


def main() -> int:
    allowed = rules()
    faults = []
    if cycle := first_cycle(allowed):
        faults.append("docs/architecture.md: a circle: " + " -> ".join(cycle))
    for path in sorted(SOURCES.rglob("*")):
        if path.suffix not in (".h", ".cpp"):
            continue
        folder = path.parent.relative_to(SOURCES).as_posix()
        if folder not in allowed:
            faults.append(f"{path.relative_to(ROOT)}: docs/architecture.md does not say what {folder}/ may use")
            continue
        for number, line in enumerate(path.read_text().splitlines(), 1):
            include = re.match(r'\s*#\s*include\s*"(?:(.+)/)?[^/"]+"', line)
            if include and include[1] != folder and include[1] not in allowed[folder]:
                faults.append(f"{path.relative_to(ROOT)}:{number}: {folder}/ may not use {include[1]}/")
    print("\n".join(faults), end="\n" if faults else "")
    return 1 if faults else 0


if __name__ == "__main__":
    sys.exit(main())
