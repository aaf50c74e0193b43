"""The examples of docs/api.md, pasted into a shell in their order, do what the page says."""

import re
import shlex
import subprocess

import support
from support import ROOT, DesktopTest

ENDPOINTS = re.compile(r"^## (GET|POST) (\S+)$", re.MULTILINE)


def examples(page):
    """The indented lines, each with the endpoint under whose heading it stands."""
    heading = None
    for line in page.splitlines():
        found = ENDPOINTS.match(line)
        heading = found[2] if found else heading
        if line.startswith("    "):
            yield heading, line.strip()


class Examples(DesktopTest):
    def test_every_example_is_answered_with_200(self):
        self.desktop.add_shortcut("Shout", "tr a-z A-Z")
        application = self.desktop.start(["gtk3-widget-factory"])
        self.desktop.activate(self.desktop.wait_for_window(application))
        image = self.desktop.directory + "/desktop.png"
        self.desktop.screenshot(image)
        self.wait_for_tree(None, lambda tree: tree.get("label") == "gtk3-widget-factory", "the application in front")
        values = {"address": self.agent.url, "header": self.agent.header_file(), "image": image}
        page = (ROOT / "docs/api.md").read_text(encoding="utf-8")
        tried = set()
        script = []
        for path, line in examples(page):
            name = line.partition("=")[0]
            if name in values:
                line = f"{name}={shlex.quote(values[name])}"
            elif line.startswith("curl "):
                self.assertTrue(line.endswith("$address" + path) or path is None, line)
                tried.add(path)
                line = f"{line} -sS -o {shlex.quote(image)}.answer -w '%{{http_code}} {path}\\n'"
            script.append(line)
        done = subprocess.run(["bash", "-euc", "\n".join(script)], env=self.desktop.environment, capture_output=True,
                              text=True, timeout=120, stdin=subprocess.DEVNULL, check=False)
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        self.assertEqual([line for line in done.stdout.splitlines() if not line.startswith("200 ")], [])
        self.assertEqual(tried, {path for _, path in ENDPOINTS.findall(page)}, "every endpoint has an example")
        self.assertEqual(len(tried), 15)


if __name__ == "__main__":
    support.main()
