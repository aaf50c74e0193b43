"""What tools/run shows of the agent, step by step. Each step is checked in what the application then says of itself."""

import functools
import os
import shutil
import subprocess
from concurrent.futures import ThreadPoolExecutor

import x11
from agent import AgentError, size_and_depth, walk
from drawing import draw_boxes
from overlay import press, wait_for_button
from private_desktop import DesktopError, wait_for

# Both come with the same package; their names are those of their desktop entries, too.
APPLICATION = "gtk3-widget-factory"
OTHER_APPLICATION = "gtk3-icon-browser"

# Programs of other toolkits, the first that is installed of each: none of them has to be.
OTHER_TOOLKITS = {"GTK 4": ("gnome-text-editor", "gnome-calculator"), "Qt": ("featherpad", "speedcrunch")}

# What a private desktop's person has; tools/run puts it there.
SHORTCUT = "Shout"

# Until the application shows what was done to it.
PATIENCE = 10


class StepFailed(Exception):
    """A step of the tour did not do what it should."""


def expect(condition, message):
    if not condition:
        raise StepFailed(message)


class Tour:
    """What the steps share: the agent, the desktop, the application to look at (None: the frontmost one, which is the
    user's own and is only looked at), the overlay service (None: the agent asks nobody)."""

    def __init__(self, agent, desktop, application_pid, screenshot_path, overlay=None):
        self.agent, self.desktop, self.overlay = agent, desktop, overlay
        self.application_pid, self.screenshot_path = application_pid, screenshot_path

    def picture_path(self, name):
        """Where a picture goes that belongs to the screenshot."""
        stem, extension = os.path.splitext(self.screenshot_path)
        return f"{stem}-{name}{extension}"

    def post(self, path, **body):
        answer = self.agent.request("POST", path, body)
        expect(answer.status == 200, f"{path} {body}: {answer.status} {answer.body[:200]!r}")
        return answer.json()

    def get(self, path):
        answer = self.agent.request("GET", path)
        expect(answer.status == 200, f"{path}: {answer.status} {answer.body[:200]!r}")
        return answer.json()

    def find(self, **query):
        """The elements of the frontmost application that a search finds, at least one."""
        return wait_for(lambda: self.post("/ax/find", **query)["matches"], PATIENCE, f"an element with {query}")

    def wait_for_element(self, condition, what):
        """Waits until the frontmost application's tree has an element that meets a condition, and gives it."""
        def found():
            answer = self.agent.tree()
            elements = walk(answer.json()["tree"]) if answer.status == 200 else ()
            return next((element for element in elements if condition(element)), None)
        return wait_for(found, PATIENCE, what)

    def wait_for_value(self, field, text):
        self.wait_for_element(lambda e: e["id"] == field["id"] and e.get("value") == text, f"{text!r} in the field")


def show_health(tour):
    answer = tour.agent.request("GET", "/health", token=False)
    expect(answer.status == 200 and answer.json().get("ok") is True, f"{answer.status} {answer.body[:200]!r}")
    return f"version {answer.json().get('version')}, {answer.seconds * 1000:.1f} ms"


def show_tree(tour):
    answer = tour.agent.tree(tour.application_pid)
    expect(answer.status == 200, f"{answer.status} {answer.body[:200]!r}")
    tree = answer.json()["tree"]
    count, depth = size_and_depth(tree)
    name = tree.get("label", "an application without a name")
    if tour.application_pid is not None:
        expect(tree["role"] == "AXApplication", f"the root's role is {tree['role']}")
        expect(count > 100, f"only {count} elements")
    return f"{name}: {count} elements, {depth} levels, {answer.seconds * 1000:.1f} ms"


def is_about_window(element):
    return element["role"] == "AXWindow" and element.get("label", "").startswith("About ")


def click_button(tour):
    button = tour.find(role="AXButton", label="About Widget Factory")[0]
    method = tour.post("/ax/click", elementId=button["id"])["method"]
    window = tour.wait_for_element(is_about_window, "the button's window")
    close = next((e for e in walk(window) if e["role"] == "AXButton" and e.get("label") == "Close"), None)
    expect(close, "the window has no button to close it")
    tour.post("/ax/click", elementId=close["id"])
    wait_for(lambda: not any(map(is_about_window, walk(tour.agent.tree().json()["tree"]))), PATIENCE,
             "the window to close")
    return f"{button['label']!r} by {method}: {window['label']!r} came up, and went with its own button"


def set_field(tour):
    field = next((e for e in tour.find(role="AXTextField", valueRegex="^entry$") if e["enabled"]), None)
    expect(field, "no field to set")
    text = "Ärger um 5 €: 漢字 😀"
    method = tour.post("/ax/type", elementId=field["id"], text=text)["method"]
    expect(method == "ax_value", f"the field was changed by {method}")
    tour.wait_for_value(field, text)
    return f"the field holds {text!r}, by {method}"


def type_into_table(tour):
    """A table takes no value; the keys that it gets open its search field, which holds them."""
    table = tour.find(role="AXTable")[0]
    method = tour.post("/ax/type", elementId=table["id"], text="Otto")["method"]
    expect(method == "cg_event", f"the table was typed into by {method}")
    tour.wait_for_element(lambda e: e["role"] == "AXTextField" and e.get("value") == "Otto", "the table's search field")
    tour.post("/keystrokes", keys=["esc"])
    return f"the table's search field holds 'Otto', by {method}"


def scroll_list(tour):
    tour.post("/ax/click", elementId=tour.find(role="AXRadioButton", label="Page 2")[0]["id"])

    def is_middle_row(element):
        return element.get("label") == "Row 3" and "frame" in element  # the first one may scroll out of sight
    before = tour.wait_for_element(is_middle_row, "a list on page 2")["frame"]["y"]
    around = next(area for area in tour.find(role="AXScrollArea", maxResults=100) if any(map(is_middle_row, walk(area))))
    tour.post("/ax/scroll", elementId=around["id"], direction="down", amount=50)
    after = tour.wait_for_element(lambda e: is_middle_row(e) and e["frame"]["y"] < before, "the rows to move up")
    return f"the rows of a list moved up by {before - after['frame']['y']:g} pixels"


def send_keys(tour):
    field = tour.wait_for_element(lambda e: e["role"] == "AXTextField" and e.get("focused"), "a field with the focus")
    text = "Größe: 100 %, straße"
    tour.post("/keystrokes", app_bundle_id=APPLICATION, keys=["ctrl+a"])  # what follows replaces the selection
    tour.post("/keystrokes", app_bundle_id=APPLICATION, text=text)
    tour.wait_for_value(field, text)
    return f"select all, then {text!r}: the field holds just that"


def send_keys_to_launched(tour):
    tour.post("/keystrokes", app_bundle_id=OTHER_APPLICATION, text="folder")
    tour.wait_for_element(lambda e: e["role"] == "AXTextField" and e.get("value") == "folder",
                          f"'folder' in the search field of {OTHER_APPLICATION}")
    tour.post("/keystrokes", app_bundle_id=APPLICATION, keys=["esc"])
    tour.wait_for_element(lambda e: e["role"] == "AXApplication" and e.get("label") == APPLICATION,
                          f"{APPLICATION} in front again")
    return f"{OTHER_APPLICATION} was launched and searches for 'folder'; {APPLICATION} came back to the front"


def show_toolkit(tour, program):
    """Starts a program, reads it, types into it and sees that the text is in it."""
    text, holders = "12345", ("AXTextArea", "AXTextField")
    process = tour.desktop.start([program])
    try:
        tour.desktop.activate(tour.desktop.wait_for_window(process))
        tour.post("/keystrokes", text=text)
        element = tour.wait_for_element(lambda e: e["role"] in holders and text in e.get("value", ""),
                                        f"{text!r} in {program}")
        count, _ = size_and_depth(tour.agent.tree(process.pid).json()["tree"])
    finally:
        tour.desktop.stop(process)
    tour.desktop.activate(tour.desktop.window_of(tour.application_pid))
    return f"{program}: {count} elements; its {element['role']} holds {text!r}"


def toolkit_steps():
    """A step for every other toolkit that a program is installed of."""
    for toolkit, programs in OTHER_TOOLKITS.items():
        program = next(filter(shutil.which, programs), None)
        if program:
            yield toolkit, functools.partial(show_toolkit, program=program)


def ask_first(tour):
    """Plays the person, too: nobody sees a private desktop."""
    said = []
    for choice, status in (("Deny", 403), ("Allow", 200)):
        button = tour.find(role="AXRadioButton", label="Page 2")[0]
        with ThreadPoolExecutor() as requests:
            pending = requests.submit(tour.agent.request, "POST", "/ax/click", {"elementId": button["id"]}, 70)
            wait_for_button(tour.agent, tour.overlay, choice)
            tour.desktop.screenshot(tour.screenshot_path)
            press(tour.desktop, tour.agent, tour.overlay, choice)
            answer = pending.result()
        expect(answer.status == status, f"after {choice}: {answer.status} {answer.body[:200]!r}")
        said.append(f"{choice}: {answer.body.decode()}")
    tour.wait_for_element(lambda e: e.get("label") == "Row 3" and "frame" in e, "what the button shows")
    return f"{', '.join(said)}; the prompt is in {tour.screenshot_path}"


def run_script(tour):
    output = tour.post("/applescript/run", script='return "hello" & " you"')["output"]
    expect(output == "hello you", f"the script returned {output!r}")
    return f"an AppleScript returned {output!r}"


def run_shortcut(tour):
    """Runs the Shortcut that the private desktop's person has."""
    names = tour.get("/shortcut/list")["shortcuts"]
    expect(names == [SHORTCUT], f"the Shortcuts are {names}")
    output = tour.post("/shortcut", name=SHORTCUT, input="hello")["output"]
    expect(output == "HELLO", f"it printed {output!r}")
    return f"{SHORTCUT!r} made {output!r} of 'hello'"


def save_screenshot(tour):
    tour.desktop.screenshot(tour.screenshot_path)
    return tour.screenshot_path


def read_screen(tour):
    """Reads the text of the screenshot, and draws every line that was read into a copy."""
    lines = tour.post("/ocr", imagePath=tour.screenshot_path)["results"]
    expect(lines, "no text at all")
    path = tour.picture_path("lines")
    draw_boxes(tour.screenshot_path, path, [(line["boundingBox"], line["text"]) for line in lines])
    return f"{len(lines)} lines, drawn into {path}"


def contains(frame, box):
    """Whether the middle of a box lies in a frame."""
    x, y = box["x"] + box["width"] / 2, box["y"] + box["height"] / 2
    return frame["x"] <= x <= frame["x"] + frame["width"] and frame["y"] <= y <= frame["y"] + frame["height"]


def find_on_screen(tour):
    """Finds a text in the screenshot where the application says that it is, and draws the matches into a copy."""
    button = tour.find(label="link button")[0]
    matches = tour.post("/visual/find", imagePath=tour.screenshot_path, query="link button")["results"]
    expect(matches, "no match")
    path = tour.picture_path("matches")
    draw_boxes(tour.screenshot_path, path, [(m["boundingBox"], f"{m['matchScore']:.2f} {m['text']}") for m in matches])
    expect(contains(button["frame"], matches[0]["boundingBox"]), f"{matches[0]} is not at {button['frame']}")
    return f"{matches[0]['text']!r} is where the application has it; {len(matches)} matches are drawn into {path}"


def find_code(tour):
    """Puts a QR code on the desktop and finds it there by what it says."""
    payload = "https://example.org/varkel?tour=1"
    picture = os.path.join(tour.desktop.directory, "code.png")
    subprocess.run(["qrencode", "-o", picture, "-s", "4", payload], check=True, timeout=20)
    poster = tour.desktop.start(["/usr/bin/python3", os.path.join(os.path.dirname(__file__), "poster.py"), picture,
                                 "A QR code"])
    window = tour.desktop.wait_for_window(poster)
    try:
        def codes():
            tour.desktop.screenshot(tour.picture_path("code"))
            found = tour.post("/visual/find", imagePath=tour.picture_path("code"), query=payload)["results"]
            return [match for match in found if match["type"] == "icon"]
        found = wait_for(codes, PATIENCE, "the code in the picture")
        x, y, width, height = tour.desktop.geometry(window)
    finally:
        tour.desktop.stop(poster)
    # The window manager need not give the focus back.
    tour.desktop.activate(tour.desktop.window_of(tour.application_pid))
    frame = {"x": x, "y": y, "width": width, "height": height}
    expect(len(found) == 1 and found[0]["text"] == payload, f"found {found}")
    expect(contains(frame, found[0]["boundingBox"]), f"found at {found[0]['boundingBox']}, it is at {frame}")
    return f"{payload} is at {found[0]['boundingBox']['x']:.0f}, {found[0]['boundingBox']['y']:.0f}"


# One line per step: its name, and a function that gives what to print or raises when it went wrong.
LOOKING = [
    ("health", show_health),
    ("tree", show_tree),
]
READING = [
    ("screenshot", save_screenshot),
    ("ocr", read_screen),
]
# On an application of the tour's own only: nobody's work is to be typed into.
ACTING = [
    ("click", click_button),
    ("keys", send_keys),
    ("set", set_field),
    ("type", type_into_table),
    ("scroll", scroll_list),
    ("launch", send_keys_to_launched),
    ("script", run_script),
    ("shortcut", run_shortcut),
]


def steps_of(tour):
    if tour.application_pid is None:
        return [*LOOKING, *READING]
    if tour.overlay:
        return [*LOOKING, ("consent", ask_first)]
    return [*LOOKING, *READING, ("visual", find_on_screen), ("code", find_code), *ACTING,
            *toolkit_steps()]


def take_tour(tour):
    """Takes every step; says whether all went well."""
    all_well = True
    for name, step in steps_of(tour):
        try:
            print(f"  {name:<12} {step(tour)}")
        except (StepFailed, AgentError, DesktopError, x11.XError, OSError, ValueError, KeyError,
                subprocess.SubprocessError) as error:
            all_well = False
            print(f"  {name:<12} FAILED: {error}")
    return all_well
