"""Prints how many lines of the tracked sources hold code, by what they are for: neither blank nor comment alone."""

import io
import re
import subprocess
import sys
import tokenize
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
# A row of the table and what belongs to it; the first that fits counts.
ROWS = (
    ("product", r"VarkelAgent/"),
    ("test cases", r"tests/.*(Tests\.cpp|/test_[a-z]+\.py)$"),
    ("fuzz targets", r"tests/fuzz/"),
    ("test support", r"tests/"),
    ("benches", r"bench/"),
    ("tools", r"tools/|\.ci/"),
    ("examples", r"examples/"),
)
TESTS = ("test cases", "fuzz targets", "test support")
NOT_CODE = {tokenize.COMMENT, tokenize.NL, tokenize.NEWLINE, tokenize.INDENT, tokenize.DEDENT, tokenize.ENCODING,
            tokenize.ENDMARKER}


def count_cpp(text):
    """Lines of C++ or JavaScript. What looks like a comment inside of a text is one of a line that holds the text."""
    without = re.sub(r'"(?:[^"\\\n]|\\.)*"', '""', text)
    without = re.sub(r"/\*.*?\*/", lambda match: "\n" * match[0].count("\n"), without, flags=re.DOTALL)
    return sum(1 for line in without.split("\n") if re.sub(r"//.*", "", line).strip())


def count_python(text):
    held = set()
    for token in tokenize.generate_tokens(io.StringIO(text).readline):
        if token.type not in NOT_CODE:
            held.update(range(token.start[0], token.end[0] + 1))
    return len(held)


def count_shell(text):
    return sum(1 for line in text.split("\n") if line.strip() and not line.lstrip().startswith("#"))


def counter(name, text):
    if name.endswith((".cpp", ".h", ".mjs")):
        return count_cpp
    if name.endswith(".py") or text.startswith("#!/usr/bin/python3"):
        return count_python
    return count_shell if text.startswith("#!/bin/bash") else None


def main():
    sums = dict.fromkeys((name for name, _ in ROWS), 0)
    tracked = subprocess.run(["git", "ls-files"], cwd=ROOT, check=True, capture_output=True, text=True).stdout
    for name in tracked.split("\n"):
        row = next((row for row, pattern in ROWS if re.match(pattern, name)), None)
        if row is None or not (ROOT / name).is_file():
            continue
        try:
            text = (ROOT / name).read_text(encoding="utf-8")
        except UnicodeDecodeError:
            continue
        if count := counter(name, text):
            lines = count(text)
            sums[row] += lines
            if "--files" in sys.argv:
                print(f"{lines:7,} {name}")
    for name, lines in sums.items():
        print(f"{name:<14}{lines:7,}")
    tests = sum(sums[name] for name in TESTS)
    print(f"{'all tests':<14}{tests:7,}, {100 * tests / sums['product']:.1f} % of the product, "
          f"{100 * tests / (tests + sums['product']):.1f} % of both, {100 * tests / sum(sums.values()):.1f} % of everything")


if __name__ == "__main__":
    main()
