"""The desktop's portal, where the compositor gives nothing by itself: a stand-in for it on mutter without a screen."""

import base64
import json
import os
import struct
import subprocess
import sys
import unittest
import zlib

import support
from agent import Agent
from mutter_desktop import MutterDesktop
from support import APPS, ROOT

sys.path.insert(0, str(ROOT / "tests/mcp"))
from pipes import Bridge, text_of  # noqa: E402


def png(width, height, colour):
    """A picture of one colour."""
    def chunk(kind, data):
        return struct.pack(">I", len(data)) + kind + data + struct.pack(">I", zlib.crc32(kind + data))
    rows = (b"\0" + bytes(colour) * width) * height
    return (b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0)) +
            chunk(b"IDAT", zlib.compress(rows)) + chunk(b"IEND", b""))


class Portal(unittest.TestCase):
    def setUp(self):
        self.desktop = self.enterContext(MutterDesktop())
        self.picture = os.path.join(self.desktop.directory, "picture.png")
        with open(self.picture, "wb") as file:
            file.write(png(64, 48, (10, 20, 30)))

    def start_portal(self, answer, *more):
        portal = self.desktop.start(["/usr/bin/python3", str(APPS / "portal.py"), self.picture, answer, *more],
                                    stdout=subprocess.PIPE, text=True)
        self.addCleanup(self.desktop.stop, portal)
        self.assertEqual(json.loads(portal.stdout.readline())["method"], "ready")
        return portal

    def screenshot(self):
        agent = Agent(self.desktop.start, self.desktop.directory)
        self.addCleanup(self.desktop.stop, agent.process)
        bridge = self.enterContext(Bridge(arguments=["--port", str(agent.port), "--token-file", agent.token_file],
                                          env=self.desktop.environment))
        return bridge.call("screenshot")

    def test_an_image_is_the_portals_and_its_file_does_not_stay(self):
        self.start_portal("yes")
        shot = self.screenshot()
        data = next(each for each in shot["content"] if each["type"] == "image")["data"]
        self.assertEqual(struct.unpack(">II", base64.b64decode(data)[16:24]), (64, 48))
        self.assertEqual([name for name in os.listdir(self.desktop.directory) if "ü" in name], [])

    def test_why_there_is_no_image(self):
        self.assertIn("has no portal", text_of(self.screenshot()))
        for answer, words in (("no", "The person did not let"), ("gone", "gave no image")):
            with self.subTest(answer):
                portal = self.start_portal(answer)
                shot = self.screenshot()
                self.assertTrue(shot["isError"])
                self.assertIn(words, text_of(shot))
                self.desktop.stop(portal)


if __name__ == "__main__":
    support.main()
