"""An assistant's tour over varkel-mcp: find a field, type, press, wait, read. Each outcome is read in the application."""

import base64
import io
import os
import struct
import subprocess
import sys

import cairo
import support
from support import ROOT, DesktopTest, only_on_x11

sys.path.insert(0, str(ROOT / "tests/mcp"))
from overlay import Overlay, press  # noqa: E402
from pipes import META, Bridge, text_of  # noqa: E402


def decode(png):
    """Width, height and pixels of a PNG."""
    surface = cairo.ImageSurface.create_from_png(io.BytesIO(png))
    width, height, stride, data = (surface.get_width(), surface.get_height(), surface.get_stride(),
                                   bytes(surface.get_data()))
    return width, height, [tuple(data[y * stride + x * 4 + k] for k in (2, 1, 0))
                           for y in range(height) for x in range(width)]


class Tour(DesktopTest):
    has_person = True

    def setUp(self):
        super().setUp()
        self.app = self.start_acts()
        self.find_one(identifier="button")

    def start(self, agent=None):
        agent = agent or self.agent
        return self.enterContext(Bridge(arguments=["--port", str(agent.port), "--token-file", agent.token_file],
                                        env=self.desktop.environment))

    def one(self, bridge, **query):
        matches = bridge.call("find", **query)["structuredContent"]["matches"]
        self.assertEqual(len(matches), 1, query)
        return matches[0]

    def test_find_type_press_wait_read(self):
        bridge = self.start()
        snapshot = text_of(bridge.call("snapshot"))
        self.assertIn('AXButton "Count me"', snapshot)
        self.assertIn("[200 AX", snapshot)
        entry, button = self.one(bridge, identifier="entry"), self.one(bridge, label="Count me")
        self.assertEqual(entry["value"], "before")

        typed = bridge.call("type_text", elementId=entry["id"], text="Größe 5 €")
        self.app.wait_for("changed", widget="entry", text="Größe 5 €")
        self.assertIn('"Größe 5 €"', "".join(typed["structuredContent"]["changes"]))

        self.assertEqual(bridge.call("click", elementId=button["id"], timeoutMs=0)["structuredContent"]["method"],
                         "ax_press")
        self.app.wait_for("clicked", widget="button")

        pressed = bridge.call("press_keys", keys=["space", "tab"], timeoutMs=10_000)
        self.app.wait_for("clicked", widget="button")
        self.assertTrue([line for line in pressed["structuredContent"]["changes"] if "focused" in line], pressed)

        # What appears after a click, and goes again, is told without another look.
        asked = bridge.call("click", elementId=self.one(bridge, label="Ask me")["id"], timeoutMs=5000)
        self.app.wait_for("dialog", shown=True)
        self.assertTrue([line for line in asked["structuredContent"]["changes"] if "Question" in line], asked)
        self.assertTrue(bridge.call("wait_for", role="AXButton", label="Close")["structuredContent"]["met"])
        self.app.do("close")
        self.assertTrue(bridge.call("wait_for", label="Close", gone=True)["structuredContent"]["met"])

        rows = self.one(bridge, role="AXScrollArea")
        bridge.call("scroll", elementId=rows["id"], direction="down", amount=150, timeoutMs=0)
        self.app.wait_for("scrolled")

    @only_on_x11
    def test_the_person_is_asked_by_the_agent_alone(self):
        overlay = Overlay(self.desktop, self.desktop.environment["HOME"])
        agent = overlay.start_agent(self.desktop)
        bridge = self.start(agent)
        self.desktop.activate(self.app.window)
        button = self.one(bridge, label="Count me")
        for label, clicks in (("Deny", 0), ("Allow", 1)):
            bridge.send(id=label, method="tools/call", params={
                "_meta": {**META, "progressToken": 7}, "name": "click", "arguments": {"elementId": button["id"]}})
            progress = bridge.read()
            self.assertIn("the person", progress["params"]["message"])
            self.assertEqual(self.app.all("clicked"), [], "nothing happens before the decision")
            press(self.desktop, agent, overlay, label)
            answer = bridge.read()
            while "id" not in answer:
                answer = bridge.read()
            self.assertEqual(answer["result"].get("isError", False), label == "Deny", answer)
            self.assertEqual("did not allow" in text_of(answer["result"]), label == "Deny")
            self.assertEqual(len(self.app.all("clicked")), clicks)

    def test_pictures(self):
        bridge = self.start()
        button = self.one(bridge, label="Count me")
        frame = button["frame"]
        shot = bridge.call("screenshot", elementId=button["id"])
        png = base64.b64decode(next(each["data"] for each in shot["content"] if each["type"] == "image"))
        self.assertEqual(struct.unpack(">II", png[16:24]), (frame["width"], frame["height"]))
        self.assertEqual({key: shot["structuredContent"][key] for key in frame}, frame)
        small = bridge.call("screenshot", maxWidth=64)
        png = base64.b64decode(small["content"][0]["data"])
        self.assertEqual(struct.unpack(">II", png[16:24]), (64, 45))
        self.assertEqual(small["structuredContent"]["scale"], 20)

        # The places of a part of the screen are those of the desktop.
        for result in (bridge.call("read_screen"), bridge.call("read_screen", elementId=button["id"]),
                       bridge.call("find_on_screen", query="count me", maxResults=1, root_pid=self.app.process.pid)):
            line = next((line for line in result["structuredContent"]["lines"] if "Count me" in line["text"]), None)
            self.assertIsNotNone(line, text_of(result))
            x = line["frame"]["x"] + line["frame"]["width"] / 2
            y = line["frame"]["y"] + line["frame"]["height"] / 2
            self.assertTrue(0 < x - frame["x"] < frame["width"] and 0 < y - frame["y"] < frame["height"], (line, frame))

    @only_on_x11
    def test_screens_of_other_kinds(self):
        """With few colours, and with a server that shares no memory."""
        for depth, options in ((24, []), (24, ["-extension", "MIT-SHM"]), (16, []), (16, ["-extension", "MIT-SHM"])):
            with self.subTest(depth=depth, options=options):
                reader, writer = os.pipe()
                server = self.desktop.start(["Xvfb", "-displayfd", str(writer), "-screen", "0", f"203x101x{depth}", *options],
                                            pass_fds=[writer], stderr=subprocess.DEVNULL)
                os.close(writer)
                with open(reader, encoding="ascii") as file:
                    display = {**self.desktop.environment, "DISPLAY": ":" + file.readline().strip()}
                # Held open, since the server clears its screen when the last client goes.
                with Bridge(self.agent.port, env=display) as bridge:
                    bridge.call("screenshot")
                    subprocess.run(["xsetroot", "-solid", "#ff8000"], env=display, check=True, timeout=20)
                    shot = bridge.call("screenshot")
                self.desktop.stop(server)
                self.assertNotIn("isError", shot, text_of(shot))
                width, height, pixels = decode(base64.b64decode(shot["content"][0]["data"]))
                self.assertEqual((width, height, len(set(pixels))), (203, 101, 1))
                red, green, blue = pixels[0]
                self.assertTrue(red == 255 and abs(green - 128) < 5 and blue == 0, pixels[0])


if __name__ == "__main__":
    os.environ.pop("WAYLAND_DISPLAY", None)
    support.main()
