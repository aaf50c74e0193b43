"""One program on a desktop of its own, worked through the agent, and what came of it."""

import http.server
import os
import signal
import socket
import subprocess
import threading
import urllib.parse

import bindings as by_bindings
from agent import Agent, AgentError, walk
from private_desktop import DesktopError, wait_for

PATIENCE = 20.0


class Fault(Exception):
    """Something did not come out as it should."""


def expect(condition, what):
    if not condition:
        raise Fault(what)


class WebServer(http.server.ThreadingHTTPServer):
    """Serves one page on 127.0.0.1 and keeps the forms that it is sent."""

    def __init__(self, page):
        super().__init__(("127.0.0.1", 0), _WebHandler)
        self.page, self.forms = page.encode(), []
        threading.Thread(target=self.serve_forever, daemon=True).start()

    @property
    def url(self):
        return f"http://127.0.0.1:{self.server_address[1]}/"


class _WebHandler(http.server.BaseHTTPRequestHandler):
    def _send(self, page):
        self.send_response(200)
        self.send_header("Content-Type", "text/html; charset=utf-8")
        self.send_header("Content-Length", str(len(page)))
        self.end_headers()
        self.wfile.write(page)

    def do_GET(self):
        self._send(self.server.page)

    def do_POST(self):
        body = self.rfile.read(int(self.headers.get("Content-Length", 0))).decode()
        self.server.forms.append(dict(urllib.parse.parse_qsl(body, keep_blank_values=True)))
        self._send(b"<!doctype html><title>Thank you</title><p>Thank you")

    def log_message(self, *_):
        pass


class Visit:
    """What a task works with. `window` and `pid` are those of the program's first window; `methods` collects how the
    agent says it did what it was asked, `faults` what did not come out although the task went on."""

    def __init__(self, desktop, folder):
        self.desktop, self.folder = desktop, folder
        self.agent = Agent(desktop.start, desktop.directory)
        self.bindings = by_bindings.Bindings()
        self.window = self.pid = None
        self.methods, self.faults = [], []
        self.web = None

    # -- starting

    def path(self, name):
        return os.path.join(self.folder, name)

    def write(self, name, content):
        path = self.path(name)
        with open(path, "w", encoding="utf-8") as file:
            file.write(content)
        return path

    def read_file(self, name):
        try:
            with open(self.path(name), encoding="utf-8", errors="replace") as file:
                return file.read()
        except FileNotFoundError:
            return ""

    def serve(self, page):
        self.web = WebServer(page)
        return self.web.url

    def start(self, command, environment, seconds, title=""):
        """Starts the program and waits for its first window with such a title, whichever process shows it."""
        self.process = self.desktop.start(command, env=environment, cwd=self.folder)
        with self.desktop.x() as display:
            def window():
                return next((w for w in display.client_windows()
                             if (title or display.window_pid(w)) and title in self.title(w)), None)
            try:
                self.window = wait_for(window, seconds, f"a window of {command[0]}")
            except DesktopError:
                raise Fault(f"no window: {self.desktop.log()[-600:]}") from None
            # Some toolkits, Tk among them, do not say whose a window is; then it is that of who was started.
            self.pid = display.window_pid(self.window) or self.process.pid
        self.activate()

    def activate(self):
        """Waits until the program's first window is in front, after asking for that."""
        self.desktop.activate(self.window)

    def lives(self):
        try:
            with open(f"/proc/{self.pid}/stat", encoding="ascii", errors="replace") as file:
                return file.read().rpartition(")")[2].split()[0] not in "ZX"
        except (FileNotFoundError, ProcessLookupError):
            return False

    def until(self, condition, what, seconds=PATIENCE):
        try:
            return wait_for(condition, seconds, what)
        except DesktopError as error:
            raise Fault(str(error) + ("" if self.lives() else "; the program has died")) from None

    def hold(self, condition, what):
        """Like until(), but a condition that is not met is noted as a fault, and the task goes on."""
        try:
            self.until(condition, what, PATIENCE / 2)
        except Fault as fault:
            self.faults.append(f"place: {fault}")

    # -- through the agent

    def post(self, path, **body):
        try:
            answer = self.agent.request("POST", path, body, 60)
        except AgentError as error:
            raise Fault(f"{path} {body}: {error}") from None
        if answer.status != 200:
            raise Fault(f"{path} {body}: {answer.status} {answer.body[:200].decode(errors='replace')}")
        return answer.json()

    def find(self, n=0, seconds=PATIENCE, placed=False, **query):
        """The n-th element of the frontmost application's tree with exactly these fields; `placed`: of those that
        have a place on the screen."""
        def matches():
            tree = self.agent.tree(timeout=60)
            if tree.status != 200:
                return None
            found = [each for each in walk(tree.json()["tree"])
                     if all(each.get(key) == value for key, value in query.items())
                     and (not placed or each.get("frame", {}).get("width", 0) > 0)]
            return found[n] if -len(found) <= n < len(found) else None
        return self.until(matches, f"an element with {query} in the agent's tree", seconds)

    def click(self, n=0, **query):
        answer = self.post("/ax/click", elementId=self.find(n, **query)["id"])
        self.methods.append(answer["method"])
        return answer["method"]

    def type(self, text, n=0, **query):
        answer = self.post("/ax/type", elementId=self.find(n, **query)["id"], text=text)
        self.methods.append(answer["method"])
        return answer["method"]

    def keys(self, *chords):
        self.post("/keystrokes", keys=list(chords))
        self.methods.append("keys")

    def text(self, text, **options):
        self.post("/keystrokes", text=text, **options)
        self.methods.append("keys")

    def recognised(self):
        """The lines that the agent recognises on the screen."""
        picture = self.path("screen.png")
        self.desktop.screenshot(picture)
        return self.post("/ocr", imagePath=picture)["results"]

    # -- beside the agent

    def mouse(self, n=0, placed=False, **query):
        """Clicks with the mouse, past the agent, in the middle of the frame that the agent gives."""
        def frame():
            found = self.find(n, placed=placed, **query).get("frame")
            return found if found and found["width"] > 0 and found["height"] > 0 else None
        place = self.until(frame, f"a frame of {query}")
        self.press(place)
        return place

    def press(self, box):
        """Clicks with the mouse, past the agent, in the middle of a box."""
        with self.desktop.x() as display:
            display.click(int(box["x"] + box["width"] / 2), int(box["y"] + box["height"] / 2))

    def remote(self, command):
        """What a player answers on its remote control."""
        answer = b""
        with socket.socket(socket.AF_UNIX) as connection:
            connection.settimeout(1)
            try:
                connection.connect(self.path("remote"))
                connection.sendall(command.encode() + b"\n")
                while b"returned" not in answer:
                    piece = connection.recv(4096)
                    if not piece:
                        break
                    answer += piece
            except OSError:
                pass
        return answer.decode(errors="replace")

    def said(self, condition, what, seconds=PATIENCE):
        """Waits until the bindings' walk meets a condition, and gives what it gave."""
        def met():
            record, _ = self.bindings.walk(self.pid)
            return record is not None and condition(record)
        return self.until(met, what, seconds)

    def is_open(self, menu):
        """Whether something in a menu is shown, by the bindings."""
        return any(self.bindings.has_state(each, "SHOWING") for each in menu if each is not menu)

    def states(self, role, name, state):
        """Which elements of a role and name have a state, by the bindings."""
        record, _ = self.bindings.walk(self.pid)
        return [self.bindings.has_state(each, state) for each in record
                if each.role.value_nick == role and each.name == name]

    def titles(self):
        with self.desktop.x() as display:
            windows = display.client_windows()
        return [self.title(window) for window in windows]

    def title(self, window):
        return self.run(["xdotool", "getwindowname", str(window)]).stdout.strip()

    def clipboard(self):
        done = subprocess.run(["xclip", "-selection", "clipboard", "-out"], env=self.desktop.environment,
                              capture_output=True, text=True, timeout=10, check=False, stdin=subprocess.DEVNULL)
        return done.stdout

    def run(self, command, **options):
        return subprocess.run(command, env=self.desktop.environment, cwd=self.folder, capture_output=True, text=True,
                              timeout=60, check=False, **{"stdin": subprocess.DEVNULL, **options})

    def end(self):
        """Ends the program where it is not a child of ours (one that the bus started): the desktop ends the rest."""
        if self.pid and self.lives():
            try:
                os.kill(self.pid, signal.SIGTERM)
            except ProcessLookupError:
                pass


def window_place(visit):
    """How the agent's frame of the program's window lies to the X server's window: a short text, and whether that is
    good."""
    answer = visit.agent.tree(visit.pid, timeout=60)
    windows = answer.json()["tree"].get("children", [])
    # Swing has no place for a window, but one for what fills it.
    filling = [child for window in windows if "frame" not in window for child in window.get("children", [])]
    frames = [each["frame"] for each in windows + filling if "frame" in each]
    with visit.desktop.x() as display:
        x, y, width, height = display.geometry(visit.window)
        client = (x, y, width, height)
        allowed = {"contents": client}
        for what, name, sign in (("without its shadow", "_GTK_FRAME_EXTENTS", -1),
                                 ("with its border", "_NET_FRAME_EXTENTS", 1)):
            sides = display.property_numbers(visit.window, name)
            if len(sides) == 4 and any(sides):
                left, right, top, bottom = sides
                allowed[what] = (x - sign * left, y - sign * top, width + sign * (left + right),
                                 height + sign * (top + bottom))
    if not frames:
        return "no frame", False
    for frame in frames:
        place = (frame["x"], frame["y"], frame["width"], frame["height"])
        for what, exact in allowed.items():
            if place == exact:
                return f"exact ({what})", True
    for frame in frames:
        left, top = frame["x"] - x, frame["y"] - y
        if 0 < left == top < 16 and (frame["width"], frame["height"]) == (width - 2 * left, height - 2 * top):
            return f"exact (without its own border of {left:g})", True
    nearest = min(({key: frame[key] for key in ("x", "y", "width", "height")} for frame in frames),
                  key=lambda f: abs(f["x"] - x) + abs(f["y"] - y) + abs(f["width"] - width) + abs(f["height"] - height))
    return f"{tuple(nearest.values())} for {client}", False
