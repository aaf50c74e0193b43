"""The programs of tools/zoo: how each is started, what is done in it, and where the outcome is read."""

import glob
import json
import os
import re
import sqlite3
from pathlib import Path

from visit import expect

PROGRAMS = {}
FORMS = Path(__file__).resolve().parents[3] / "tests/desktop/apps"
# Without a graphics processor, GTK 4 draws so slowly that it hardly gets to anything else.
SOFTWARE_GTK4 = {"GSK_RENDERER": "cairo"}
TEXT = "Grüße 5 € to the zoo"


class Program:
    """`packages`: of Debian, the first one names the version. `prepare(visit)` gives the command; `task(visit)` works
    the program and gives what was done and where its outcome was seen. `known`: what a user should know beforehand.
    `title`: in the title of the window to wait for. `accessible`: whether the toolkit speaks AT-SPI at all."""

    def __init__(self, name, toolkit, package, prepare, task, environment=None, known="", accessible=True, seconds=40,
                 title=""):
        self.name, self.toolkit, self.package = name, toolkit, package
        self.prepare, self.task = prepare, task
        self.environment = environment or {}
        self.known, self.accessible, self.seconds, self.title = known, accessible, seconds, title


def program(name, toolkit, package, command, **options):
    """Registers the decorated task for a program; `command`: a list, or a function of the visit that gives one."""
    def register(task):
        prepare = command if callable(command) else lambda _: command
        PROGRAMS[name] = Program(name, toolkit, package, prepare, task, **options)
        return task
    return register


# -- text editors: a file is opened, typed into and saved

def opens_file(*command):
    def prepare(visit):
        visit.write("notes.txt", "first\n")
        return [*command, visit.path("notes.txt")]
    return prepare


def saved(visit, name="notes.txt", text=TEXT):
    visit.until(lambda: text in visit.read_file(name), f"{text!r} in the saved file")


def edit_and_save(visit):
    # Below the only line, so that the caret goes to its end.
    visit.mouse(role="AXTextArea", placed=True)
    visit.said(lambda root: any(visit.bindings.caret(each) >= len("first") for each in root if each.focused),
               "the caret where the mouse was clicked")
    visit.type(TEXT, role="AXTextArea")
    visit.keys("ctrl+s")
    saved(visit)
    return "a text typed into the file that was open and saved; read in the file"


program("mousepad", "GTK 3", "mousepad", opens_file("mousepad"))(edit_and_save)
program("gedit", "GTK 3", "gedit", opens_file("gedit"))(edit_and_save)
program("gnome-text-editor", "GTK 4", "gnome-text-editor", opens_file("gnome-text-editor"),
        environment=SOFTWARE_GTK4)(edit_and_save)
program("featherpad", "Qt 5", "featherpad", opens_file("featherpad"))(edit_and_save)


JAVA_BRIDGE = ("-Xbootclasspath/a:/usr/share/java/java-atk-wrapper.jar "
               "-Djavax.accessibility.assistive_technologies=org.GNOME.Accessibility.AtkWrapper")


def jedit_command(visit):
    os.mkdir(visit.path("settings"))
    visit.write("settings/properties", "firstTime=false\ntip.show=false\n")
    # Java takes the home directory from the system's list of users, unless it is told another one.
    options = f"JAVA_TOOL_OPTIONS={JAVA_BRIDGE} -Duser.home={visit.folder}"
    return opens_file("env", options, "jedit", "-noserver", f"-settings={visit.path('settings')}")(visit)


@program("jedit", "Java Swing", "jedit", jedit_command, seconds=90, title="notes.txt")
def jedit(visit):
    visit.mouse(role="AXGroup", focused=True)
    visit.keys("ctrl+f")
    visit.type("first", role="AXTextArea", placed=True)
    visit.type(TEXT, role="AXTextArea", placed=True, n=1)
    def replaced():
        return "jEdit - notes.txt (modified)" in visit.titles()
    visit.mouse(role="AXButton", label="Replace All")
    visit.hold(replaced, "the text to be replaced by a mouse click")
    if not replaced():
        visit.click(role="AXButton", label="Replace All")
        visit.until(replaced, "the text to be replaced")
    visit.keys("escape")
    visit.until(lambda: len(visit.titles()) == 1, "the dialog to go")
    visit.activate()
    visit.keys("ctrl+s")
    saved(visit)
    return "a word replaced in its search dialog, the file saved; read in the file"


@program("idle", "Tk", "idle-python3.11", opens_file("idle-python3.11"), title="notes.txt", accessible=False)
def idle(visit):
    area = visit.until(lambda: next((line["boundingBox"] for line in visit.recognised() if "first" in line["text"]),
                                    None), "the text of the file on the screen")
    visit.press(area)
    visit.keys("ctrl+a")
    visit.text(TEXT)
    visit.keys("ctrl+s")
    saved(visit)
    return "the text found by recognition and clicked, another one typed over it and saved; read in the file"


@program("thunar", "GTK 3", "thunar", lambda visit: ["thunar", visit.folder])
def thunar(visit):
    visit.mouse(role="AXMenu", label="File")
    visit.said(lambda root: visit.is_open(root.find(name="File")), "the menu to open by a mouse click")
    visit.keys("escape")
    visit.keys("ctrl+shift+n")
    visit.type("elephants", role="AXTextField", value="New Folder", enabled=True)
    visit.click(role="AXButton", label="Create")
    visit.until(lambda: os.path.isdir(visit.path("elephants")), "the new folder")
    return "a new folder named and created in its dialog; looked for in the file system"


@program("evince", "GTK 3", "evince", lambda visit: ["evince", three_pages(visit)])
def evince(visit):
    visit.mouse(role="AXTextField", label="page-label-entry")
    visit.said(lambda root: root.find(name="page-label-entry").focused, "the focus by a mouse click")
    visit.type("3", role="AXTextField", label="page-label-entry")
    visit.keys("return")
    visit.said(lambda root: any("Capybara" in (visit.bindings.text(each.accessible) or "") and each.focused
                                for each in root if each.role.value_nick == "page"), "the third page in front")
    return "a page number typed into its field; the page in front read by the bindings"


def three_pages(visit):
    import cairo
    path = visit.path("pages.pdf")
    surface = cairo.PDFSurface(path, 400, 300)
    context = cairo.Context(surface)
    context.set_font_size(30)
    for word in ("Aardvark", "Bumblebee", "Capybara"):
        context.move_to(50, 100)
        context.show_text(word)
        surface.show_page()
    surface.finish()
    return path


@program("gnome-calculator", "GTK 4", "gnome-calculator", ["gnome-calculator"],
         environment=SOFTWARE_GTK4)
def gnome_calculator(visit):
    visit.mouse(role="AXButton", label="7 7")
    for label in ("× ×", "8 8", "= ="):
        visit.click(role="AXButton", label=label)
    visit.said(lambda root: any(each.value == "56" for each in root), "56 in the display")
    visit.keys("ctrl+c")
    visit.until(lambda: "56" in visit.clipboard(), "56 in the clipboard")
    return "7 × 8 by its buttons; the display read by the bindings, and from the clipboard"


@program("gtk4-widget-factory", "GTK 4", "gtk-4-examples", ["gtk4-widget-factory"],
         environment=SOFTWARE_GTK4)
def gtk4_widget_factory(visit):
    visit.type(TEXT, role="AXTextField", label="GtkEntry", n=0)
    visit.said(lambda root: any(TEXT in (visit.bindings.text(each.accessible) or "") for each in root
                                if each.role.value_nick in ("text", "entry")), "the text in the entry")
    box = {"role": "AXCheckBox", "label": "checkbutton"}
    before = visit.states("check-box", "checkbutton", "CHECKED")
    visit.mouse(**box)
    visit.until(lambda: visit.states("check-box", "checkbutton", "CHECKED") != before,
                "the other state by a mouse click")
    visit.click(**box)
    visit.until(lambda: visit.states("check-box", "checkbutton", "CHECKED") == before, "the state from before")
    return "a text typed into an entry, a check box switched there and back; read by the bindings"


@program("speedcrunch", "Qt 5", "speedcrunch", ["speedcrunch"])
def speedcrunch(visit):
    visit.type("6*7", role="AXTextArea", n=1)
    visit.keys("return")
    visit.said(lambda root: any("= 42" in (each.value or "") for each in root), "= 42 in the history")
    visit.mouse(role="AXMenuItem", label="Edit")
    visit.mouse(role="AXMenuItem", label="Copy Last Result")
    visit.until(lambda: visit.clipboard() == "42", "42 in the clipboard")
    return "6*7 typed, its result copied by mouse from the menu; read from the clipboard, and by the bindings"


@program("kcalc", "Qt 5", "kcalc", ["kcalc"])
def kcalc(visit):
    visit.mouse(role="AXButton", label="6")
    for label in ("×", "7", "="):
        visit.click(role="AXButton", label=label)
    visit.said(lambda root: root.find(name="42"), "42 in the display")
    visit.keys("ctrl+c")
    visit.until(lambda: visit.clipboard() == "42", "42 in the clipboard")
    return "6 × 7 by its buttons; the display read by the bindings, and from the clipboard"


def vault(visit):
    done = visit.run(["keepassxc-cli", "db-create", "--set-password", "zoo.kdbx"],
                     input="open sesame\nopen sesame\n", stdin=None)
    expect(done.returncode == 0, f"keepassxc-cli: {done.stderr}")
    return ["keepassxc", visit.path("zoo.kdbx")]


@program("keepassxc", "Qt 5", "keepassxc", vault)
def keepassxc(visit):
    visit.type("open sesame", role="AXTextField", enabled=True, focused=True)
    visit.keys("return")
    visit.until(lambda: any("Locked" not in title and "zoo" in title for title in visit.titles()), "the open vault")
    visit.keys("ctrl+n")
    visit.type("Elephants", role="AXTextField", focused=True)
    visit.mouse(role="AXButton", label="OK")
    visit.keys("ctrl+s")
    visit.until(lambda: "Elephants" in visit.run(["keepassxc-cli", "ls", "zoo.kdbx"], input="open sesame\n",
                                                 stdin=None).stdout, "the entry in the vault")
    return "a vault opened by its password, an entry made and saved; read by keepassxc-cli"


def player(visit):
    import wave
    with wave.open(visit.path("hush.wav"), "wb") as file:
        file.setnchannels(1)
        file.setsampwidth(2)
        file.setframerate(8000)
        file.writeframes(bytes(16000 * 600))
    options = ["--no-qt-privacy-ask", "--no-qt-error-dialogs", "--aout=dummy", "--intf=qt", "--extraintf=oldrc",
               f"--rc-unix={visit.path('remote')}", "--rc-fake-tty", "hush.wav"]
    if os.geteuid() != 0:
        return ["vlc", *options]
    # Its own command refuses to run as root; this does the same as that command does otherwise.
    return ["/usr/bin/python3", "-c", """
import ctypes, sys, time
vlc = ctypes.CDLL("libvlc.so.5")
vlc.libvlc_new.restype = ctypes.c_void_p
arguments = [each.encode() for each in sys.argv[1:]]
instance = vlc.libvlc_new(len(arguments), (ctypes.c_char_p * len(arguments))(*arguments))
vlc.libvlc_add_intf(ctypes.c_void_p(instance), None)
vlc.libvlc_playlist_play(ctypes.c_void_p(instance), -1, 0, None)
while True:
    time.sleep(1)
""", *options]


@program("vlc", "Qt 5", "vlc-plugin-qt", player)
def vlc(visit):
    playing, paused = "play state: 3", "to continue"
    visit.until(lambda: playing in visit.remote("status"), "the player to play")
    # Its buttons have no names; the first one that is on the screen pauses and plays.
    visit.click(role="AXButton", placed=True)
    visit.until(lambda: paused in visit.remote("status"), "the player to pause")
    visit.mouse(role="AXButton", placed=True)
    visit.until(lambda: paused not in visit.remote("status"), "the player to play again")
    return "paused and played again by its button; asked by its remote control"


def translation(visit):
    visit.write("zoo.ts", """<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de_DE" sourcelanguage="en_US">
<context><name>Zoo</name>
<message><source>Hello, animals</source><translation type="unfinished"></translation></message>
<message><source>Good night</source><translation type="unfinished"></translation></message>
</context></TS>
""")
    return ["/usr/lib/qt6/bin/linguist", visit.path("zoo.ts")]


@program("linguist", "Qt 6", "linguist-qt6", translation, title="Linguist")
def linguist(visit):
    visit.mouse(role="AXCell", label="Good night")
    visit.find(role="AXTextArea", value="Good night")
    visit.type(TEXT, role="AXTextArea", placed=True, n=2)
    visit.keys("ctrl+s")
    saved(visit, "zoo.ts")
    expect(TEXT in visit.read_file("zoo.ts").partition("Good night")[2], "the other text was translated")
    return "the second text chosen by mouse, translated and saved; read in the file"


@program("assistant", "Qt 6", "assistant-qt6", ["/usr/lib/qt6/bin/assistant"], title="Assistant")
def assistant(visit):
    home = "qthelp://zoo/elephants"
    visit.click(role="AXMenuItem", label="Edit")
    visit.click(role="AXMenuItem", label="Preferences...")
    visit.mouse(role="AXRadioButton", label="Options")
    visit.type(home, role="AXTextField", value="help", placed=True)
    visit.click(role="AXButton", label="OK")
    visit.until(lambda: home in str(assistant_settings(visit)), "the home page in its settings")
    return "a home page typed in its preferences; read in its settings file"


def assistant_settings(visit):
    rows = []
    for path in glob.glob(os.path.join(visit.desktop.environment["XDG_DATA_HOME"], "QtProject/Assistant/*.qhc")):
        with sqlite3.connect(f"file:{path}?mode=ro", uri=True) as store:
            rows += store.execute("SELECT * FROM SettingsTable").fetchall()
    return rows


@program("pyqt6-form", "Qt 6", "python3-pyqt6", ["/usr/bin/python3", str(FORMS / "qt_form.py"), "6"])
def pyqt6_form(visit):
    def reported(event):
        visit.until(lambda: event in visit.desktop.log(), f"the form's report of {event}")
    visit.mouse(role="AXButton", label="Count me")
    reported('"event": "clicked", "widget": "button"')
    visit.click(role="AXCheckBox", label="Remember me")
    reported('"event": "switched", "widget": "box", "on": true')
    visit.type(TEXT, role="AXTextField", value="before")
    reported(json.dumps({"event": "changed", "widget": "entry", "text": TEXT}))
    return "a button, a check box and a field of a form (of the project's own tests); read in the form's reports"


PAGE = """<!doctype html><html lang=en><meta charset=utf-8><title>Zoo form</title>
<h1>Order a ticket</h1><form method=post action=/sent>
<p><label>Name <input name=name></label>
<p><label>Secret word <input name=secret type=password></label>
<p><label><input type=checkbox name=guide value=yes> With a guide</label>
<p><label><input type=radio name=day value=saturday> Saturday</label>
<label><input type=radio name=day value=sunday> Sunday</label>
<p><label>Remarks <textarea name=remarks></textarea></label>
<p><button>Send the order</button></form>"""


def firefox_command(visit):
    profile = visit.path("profile")
    os.mkdir(profile)
    preferences = {
        "browser.shell.checkDefaultBrowser": False, "browser.startup.homepage_override.mstone": "ignore",
        "datareporting.policy.dataSubmissionEnabled": False, "toolkit.telemetry.reportingpolicy.firstRun": False,
        "app.normandy.enabled": False, "network.captive-portal-service.enabled": False, "app.update.enabled": False,
        "network.connectivity-service.enabled": False, "browser.aboutwelcome.enabled": False,
        "extensions.getAddons.cache.enabled": False, "services.settings.server": "http://127.0.0.1:1/",
        "browser.safebrowsing.downloads.remote.enabled": False, "trailhead.firstrun.didSeeAboutWelcome": True,
        "termsofuse.bypassNotification": True, "browser.preonboarding.enabled": False,
        "network.proxy.type": 0,
    }
    with open(os.path.join(profile, "user.js"), "w", encoding="utf-8") as file:
        for name, value in preferences.items():
            literal = {True: "true", False: "false"}.get(value, value if isinstance(value, int) else f'"{value}"')
            file.write(f'user_pref("{name}", {literal});\n')
    return ["firefox-esr", "--no-remote", "--profile", profile, visit.serve(PAGE)]


def chromium_command(visit):
    return ["chromium", "--no-sandbox", "--no-first-run", "--disable-background-networking",
            "--disable-component-update", "--disable-sync", "--disable-gpu", "--no-default-browser-check",
            "--disable-features=Translate", "--password-store=basic", f"--user-data-dir={visit.path('profile')}",
            visit.serve(PAGE)]


def fill_in_and_send(visit):
    visit.type(TEXT, role="AXTextField", label="Name")
    visit.type("sesame", role="AXTextField", label="Secret word")
    visit.mouse(role="AXCheckBox", label="With a guide")
    visit.click(role="AXRadioButton", label="Sunday")
    visit.type("two\nlines", role="AXTextArea", label="Remarks")
    visit.click(role="AXButton", label="Send the order")
    visit.until(lambda: visit.web.forms, "the form at the web server")
    expected = {"name": TEXT, "secret": "sesame", "guide": "yes", "day": "sunday", "remarks": "two\r\nlines"}
    got = visit.web.forms[0]
    wrong = {key: got.get(key) for key in expected if got.get(key) != expected[key]}
    expect(not wrong, f"the server was sent {wrong}")
    return "a form filled in (text, password, check box, radio button, text area) and sent; read at the web server"


program("firefox-esr", "Firefox", "firefox-esr", firefox_command, seconds=90, title="Zoo form")(fill_in_and_send)
program("chromium", "Chromium", "chromium", chromium_command, seconds=90, title="Zoo form")(fill_in_and_send)


WRITER = """<?xml version="1.0" encoding="UTF-8"?>
<office:document xmlns:office="urn:oasis:names:tc:opendocument:xmlns:office:1.0"
 xmlns:text="urn:oasis:names:tc:opendocument:xmlns:text:1.0" office:version="1.2"
 office:mimetype="application/vnd.oasis.opendocument.text"><office:body><office:text>
<text:p>First</text:p><text:p>Second</text:p><text:p>Third</text:p><text:p>Fourth</text:p>
</office:text></office:body></office:document>
"""
CALC = """<?xml version="1.0" encoding="UTF-8"?>
<office:document xmlns:office="urn:oasis:names:tc:opendocument:xmlns:office:1.0"
 xmlns:table="urn:oasis:names:tc:opendocument:xmlns:table:1.0"
 xmlns:text="urn:oasis:names:tc:opendocument:xmlns:text:1.0" office:version="1.2"
 office:mimetype="application/vnd.oasis.opendocument.spreadsheet"><office:body><office:spreadsheet>
<table:table table:name="Zoo"><table:table-row><table:table-cell office:value-type="string"><text:p>Animals</text:p>
</table:table-cell></table:table-row></table:table></office:spreadsheet></office:body></office:document>
"""


def office(name, content):
    def command(visit):
        visit.write(name, content)
        return ["soffice", f"-env:UserInstallation=file://{visit.path('profile')}", "--norestore", "--nologo",
                "--nofirststartwizard", visit.path(name)]
    return command


def writer(visit):
    visit.type(TEXT, role="AXGroup", value="Fourth")
    visit.mouse(role="AXGroup", value="Third")
    visit.keys("end")
    visit.text(" by mouse")
    visit.keys("ctrl+s")
    saved(visit, "letter.fodt")
    saved(visit, "letter.fodt", "by mouse")
    # What was typed at different times may stand in elements of its own.
    visit.hold(lambda: "Third by mouse" in re.sub("<[^>]*>", "", visit.read_file("letter.fodt")),
               "the text in the paragraph that was clicked")
    return "two paragraphs typed into, one of them chosen by mouse, and saved; read in the file"


def by_keys_alone(name):
    def task(visit):
        visit.text(TEXT + "\n")
        visit.keys("ctrl+s")
        saved(visit, name)
        line = visit.until(lambda: next((each for each in visit.recognised() if "zoo" in each["text"].lower()
                                 and each["boundingBox"]["x"] > 100), None),
                           "the typed text on the screen")
        return f"a text typed by keys and saved; read in the file, and on the screen ({line['text']!r})"
    return task


def calc(visit):
    visit.click(role="AXCell", label="B1")
    visit.text(TEXT + "\n")
    visit.said(lambda root: TEXT in visit.bindings.text(root.find(name="B1").accessible), "the text in B1")
    visit.mouse(role="AXCell", label="C1")
    visit.text("by mouse\n")
    visit.said(lambda root: "by mouse" in visit.bindings.text(root.find(name="C1").accessible), "the text in C1")
    # A click above the cell would have chosen its whole column, and the text would have come there as well.
    visit.hold(lambda: visit.bindings.selected(visit.bindings.walk(visit.pid)[0].find(name="Sheet Zoo")) <= 1,
               "a cell and not a column to be chosen by a mouse click")
    visit.keys("ctrl+s")
    saved(visit, "table.fods", "by mouse")
    saved(visit, "table.fods")
    return "two cells chosen and typed into, saved; read by the bindings and in the file"


for backend, toolkit, speaks in (("gtk3", "LibreOffice on GTK 3", True), ("gen", "LibreOffice's own", False)):
    for name, package, file, content, task in (
            (f"writer-{backend}", "libreoffice-writer", "letter.fodt", WRITER, writer),
            (f"calc-{backend}", "libreoffice-calc", "table.fods", CALC, calc)):
        program(name, toolkit, package, office(file, content), environment={"SAL_USE_VCLPLUGIN": backend},
                title=file, accessible=speaks, seconds=90)(task if speaks else by_keys_alone(file))


@program("gnome-terminal", "GTK 3", "gnome-terminal", ["gnome-terminal"])
def gnome_terminal(visit):
    visit.text("echo $((6*7)) animals > animals.txt\n")
    saved(visit, "animals.txt", "42 animals")
    visit.mouse(role="AXMenu", label="File")
    visit.said(lambda root: visit.is_open(root.find(name="File")), "the menu to open by a mouse click")
    visit.keys("escape")
    visit.type("echo typed > typed.txt", role="AXTextArea")
    visit.keys("return")
    saved(visit, "typed.txt", "typed")
    return "a command typed that writes a file; read in the file"


@program("xterm", "X toolkit", "xterm", ["xterm"], accessible=False)
def xterm(visit):
    visit.text("echo $((6*7)) animals > animals.txt\n")
    saved(visit, "animals.txt", "42 animals")
    return "a command typed that writes a file; read in the file"


# What a user should know beforehand; each of it was seen.
KNOWN = [
    ("xterm, Tk, LibreOffice's own toolkit", """no accessibility at all: the tree is one element with the role
    "Unknown". POST `/keystrokes` types into them, and what they show is read by POST `/ocr` from a picture of the
    screen."""),
    ("GTK 4", """fields and buttons without a name of their own are called by their class ("GtkEntry",
    "GtkMenuButton"). Check boxes and radio buttons have no action and get a mouse click. Pages of stacks and
    notebooks are not elements of the tree: the toolkit leaves them out when it is asked for all children of an
    element at once, which is what the agent does, and gives them when it is asked for each child, as the bindings
    do. An entry that only hides its text, and is no password entry, gives the text away like any other. A program
    that paints all the time may come late to the accessibility bus, or not at all, where there is no graphics card;
    here they ran with `GSK_RENDERER=cairo`."""),
    ("LibreOffice Calc", """of a sheet's cells the first 1,000 are in the tree: most of a row. The others are
    reached by keys."""),
    ("VLC", "its buttons have no names, only places."),
    ("Java Swing", f"""only where the Java runtime loads the bridge of the package libatk-wrapper-java, which it
    does not do by itself on Debian; `JAVA_TOOL_OPTIONS="{JAVA_BRIDGE}"` does. A window has no place, what fills it
    has one. jEdit draws the text that is edited by itself: that is not in the tree, but takes keys."""),
    ("Chromium, and programs built on it", """build their tree when the agent first asks, which makes the first
    request slower."""),
]
