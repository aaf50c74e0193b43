"""Runs clang-tidy over the project's sources, two at a time, and remembers which ones were clean.

A source's result stands as long as the source, every project header that it reaches, its compile command, the
list of checks and clang-tidy itself are the same.
"""

import concurrent.futures
import hashlib
import json
import os
import re
import shlex
import subprocess
import sys
import time

FOLDERS = ("VarkelAgent/", "tests/", "bench/")
FINDING = re.compile(r"^(/[^:]+):\d+:\d+: (?:error|warning): (.*)$", re.MULTILINE)
INCLUDE = re.compile(rb'^\s*#\s*include\s*"([^"]+)"', re.MULTILINE)


def read(path):
    with open(path, "rb") as file:
        return file.read()


class Sources:
    """The project's files by content, and what they include."""

    def __init__(self, root):
        self._root = root
        self._contents = {}

    def _content(self, path):
        if path not in self._contents:
            self._contents[path] = read(path) if os.path.isfile(path) else None
        return self._contents[path]

    def reached_from(self, source, folders):
        """The paths of the source and of every project header that it includes, however indirectly."""
        reached, waiting = set(), [source]
        while waiting:
            path = waiting.pop()
            if path in reached:
                continue
            reached.add(path)
            for name in INCLUDE.findall(self._content(path)):
                for folder in [os.path.dirname(path), *folders]:
                    header = os.path.normpath(os.path.join(folder, name.decode("utf-8", "replace")))
                    if header.startswith(self._root) and self._content(header) is not None:
                        waiting.append(header)
        return reached

    def digest(self, paths):
        digest = hashlib.sha256()
        for path in sorted(paths):
            digest.update(path.encode() + b"\0" + hashlib.sha256(self._content(path)).digest())
        return digest.digest()


def include_folders(command):
    """The folders that the compile command searches for quoted headers, apart from the system's."""
    words = shlex.split(command)
    return [word[2:] for word in words if word.startswith("-I") and len(word) > 2]


def is_clean(done, root):
    """Whether a run found nothing against this project.

    What the analyzer says about the inside of a library's headers is not: it does not understand coroutine frames
    and takes what they hold for uninitialised. A header that does not compile is."""
    if done.returncode == 0:
        return True
    findings = FINDING.findall(done.stdout)
    return bool(findings) and not any(path.startswith(root + "/") or "clang-diagnostic" in text
                                      for path, text in findings)


def main():
    root, build = os.getcwd(), "build/lint"
    cache = os.path.join(build, "tidy-cache")
    os.makedirs(cache, exist_ok=True)
    version = subprocess.run(["clang-tidy", "--version"], capture_output=True, check=True).stdout
    settings = hashlib.sha256(version + read(".clang-tidy")).digest()
    sources = Sources(root)
    waiting = []
    clean = set()
    for entry in json.loads(read(os.path.join(build, "compile_commands.json"))):
        path = os.path.normpath(os.path.join(entry["directory"], entry["file"]))
        if not os.path.relpath(path, root).startswith(FOLDERS):
            continue
        reached = sources.reached_from(path, include_folders(entry["command"]))
        key = hashlib.sha256(settings + entry["command"].encode() + sources.digest(reached)).hexdigest()
        clean.add(key)
        if not os.path.exists(os.path.join(cache, key)):
            waiting.append((path, key))
    for name in set(os.listdir(cache)) - clean:
        os.remove(os.path.join(cache, name))

    def check(job):
        path, key = job
        began = time.monotonic()
        # xcb's keyboard header names a parameter with a C++ keyword, which its includers define away meanwhile;
        # the warnings that a compile command turns off may be g++'s own.
        done = subprocess.run(["clang-tidy", "-p", build, "--quiet", "--extra-arg=-Wno-keyword-macro",
                               "--extra-arg=-Wno-unknown-warning-option", path],
                              capture_output=True, text=True, stdin=subprocess.DEVNULL, check=False)
        if is_clean(done, root):
            with open(os.path.join(cache, key), "w", encoding="ascii"):
                pass
        return os.path.relpath(path, root), done, time.monotonic() - began

    failed = 0
    with concurrent.futures.ThreadPoolExecutor(max_workers=2) as pool:
        for name, done, seconds in pool.map(check, waiting):
            print(f"clang-tidy {name} ({seconds:.0f} s)", flush=True)
            if not is_clean(done, root):
                failed += 1
                errors = "\n".join(line for line in done.stderr.splitlines() if "warnings generated" not in line)
                print(done.stdout + errors, flush=True)
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
