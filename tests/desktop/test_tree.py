"""The tree of an application whose widgets are known."""

import os
import subprocess

import support
from support import DesktopTest, element_id, find, needs_windows, paths, wait_for, walk

# Each known widget: where its rectangle is in the application's report, and what it reads as.
WIDGETS = {
    "menu bar": {"role": "AXMenuBar"},
    "save": {"role": "AXButton", "label": "Save", "identifier": "save-button", "enabled": True},
    "disabled": {"role": "AXButton", "label": "Not now", "enabled": False},
    "label": {"role": "AXStaticText", "label": "Just a label", "value": "Just a label"},
    "entry": {"role": "AXTextField", "value": "Some text, größer", "focused": True},
    "password": {"role": "AXTextField", "focused": False},
    "text view": {"role": "AXTextArea", "value": "First line\nSecond line"},
    "check": {"role": "AXCheckBox", "label": "Remember me"},
    "toggle": {"role": "AXCheckBox", "label": "Hold"},
    "radio": {"role": "AXRadioButton", "label": "One"},
    "other radio": {"role": "AXRadioButton", "label": "Two"},
    "slider": {"role": "AXSlider"},
    "spin": {"role": "AXIncrementor"},
    "combo": {"role": "AXPopUpButton", "label": "Green"},
    "list": {"role": "AXList"},
    "notebook": {"role": "AXTabGroup"},
    "link": {"role": "AXButton", "label": "A link"},
    "progress": {"role": "AXProgressIndicator"},
}
WITHOUT_VALUE = ("save", "password", "check", "slider", "spin", "progress")
SECRET = "correct horse battery staple"


class KnownWidgets(DesktopTest):
    def setUp(self):
        super().setUp()
        self.app = self.start_known_widgets()
        self.desktop.activate(self.app.window)

    def container(self, tree):
        """The element whose children are the known widgets, in order."""
        return next(e for e in walk(tree) if len(e.get("children", [])) == len(WIDGETS))

    def test_every_widget_reads_as_what_it_is_in_the_order_of_the_window(self):
        tree = self.wait_for_tree(self.app.pid, lambda tree: find(tree, focused=True, role="AXTextField"),
                                  "the focus in the entry")
        self.assertEqual((tree["role"], tree["label"]), ("AXApplication", "known_widgets.py"))
        window = tree["children"][0]
        self.assertEqual((window["role"], window["label"]), ("AXWindow", "Known widgets"))
        for (name, expected), element in zip(WIDGETS.items(), self.container(tree)["children"]):
            with self.subTest(name):
                self.assertEqual({key: element.get(key) for key in expected}, expected)
                if name in WITHOUT_VALUE:
                    self.assertNotIn("value", element)

    def test_what_is_inside_a_widget_is_below_it(self):
        tree = self.known_tree(self.app)
        for outer, inner in ((find(tree, role="AXMenuBar"), {"role": "AXMenu", "label": "File"}),
                             (find(tree, role="AXMenu", label="File"), {"role": "AXMenuItem", "label": "Open"}),
                             (find(tree, role="AXTabGroup"), {"role": "AXRadioButton", "label": "Second page"}),
                             (find(tree, role="AXList"), {"role": "AXStaticText", "value": "Plums"})):
            with self.subTest(inner):
                self.assertIsNotNone(find(outer, **inner))

    def test_the_text_of_a_password_field_is_nowhere(self):
        body = self.agent.tree(self.app.pid).body.decode()
        self.assertIn("Some text, größer", body)
        for forbidden in (SECRET, "\u2022" * 3, "\u25cf" * 3):
            self.assertNotIn(forbidden, body)

    def test_ids_are_made_of_the_five_parts(self):
        tree = self.known_tree(self.app)
        for element, path in paths(tree):
            self.assertEqual(element["id"], element_id(self.app.pid, element, path), path)
        self.assertEqual(len({element["id"] for element in walk(tree)}), len(list(walk(tree))))

    @needs_windows
    def test_frames_are_where_the_window_system_has_the_widgets(self):
        def agree(tree):
            truth = self.read_report(self.app)
            frames = [element.get("frame") for element in self.container(tree)["children"]]
            return frames == [truth[name] for name in WIDGETS]
        self.known_tree(self.app)
        tree = self.wait_for_tree(self.app.pid, agree, "equal frames")
        x, y, width, height = self.desktop.geometry(self.app.window)
        inner, outer = self.container(tree)["frame"], tree["children"][0]["frame"]
        self.assertEqual(inner, {"x": x, "y": y, "width": width, "height": height})
        self.assertLessEqual((outer["x"], outer["y"]), (x, y))
        self.assertGreaterEqual((outer["width"], outer["height"]), (width, height))
        # What has no place on the screen has no frame.
        self.assertNotIn("frame", find(tree, role="AXMenuItem", label="Open"))
        self.assertNotIn("frame", tree)

    def test_an_application_is_read_by_the_same_connections_every_time(self):
        """What a toolkit keeps of every connection that ends makes the application slower for good."""
        def sockets():
            folder = f"/proc/{self.agent.process.pid}/fd"
            links = set()
            for name in os.listdir(folder):
                try:
                    links.add(os.readlink(os.path.join(folder, name)))
                except FileNotFoundError:
                    pass  # closed meanwhile
            return {link for link in links if link.startswith("socket:")}

        def walk_all():
            return self.agent.request("POST", "/ax/click", {"elementId": "0" * 16}).status == 404
        self.agent.request("GET", "/health")
        before = sockets()
        wait_for(walk_all, 15, "the application to be in front")
        walk_all()
        lines = sockets() - before
        for _ in range(30):
            self.assertTrue(walk_all())
        self.assertGreaterEqual(len(lines & sockets()), 8, "the connections of one request")


class Frontmost(DesktopTest):
    def frontmost(self):
        answer = self.agent.tree()
        return answer.json()["tree"]["children"][0].get("label") if answer.status == 200 else None

    def test_the_frontmost_application_follows_the_active_window(self):
        def check(app, title):
            self.desktop.activate(app.window)
            wait_for(lambda: self.frontmost() == title, 10, f"{title} as the frontmost application")

        # A window that is not on the screen yet would come to the front later, and others cannot be told from it.
        first = self.start_known_widgets("First")
        check(first, "First")
        second = self.start_known_widgets("Second")
        for app, title in ((second, "Second"), (first, "First"), (second, "Second")):
            check(app, title)

    def test_with_no_application_there_is_no_frontmost_one(self):
        for path in ("/ax/tree", "/batch/begin"):
            with self.subTest(path):
                answer = self.agent.request("POST", path, {})
                self.assertEqual((answer.status, answer.json()), (500, {"error": "could_not_get_frontmost_app"}))


class WithoutAccessibility(DesktopTest):
    def test_a_process_without_accessibility_reads_as_one_unknown_element(self):
        plain = self.desktop.start(["sleep", "1000"])
        gone = subprocess.Popen(["true"])
        gone.wait()
        for pid in (plain.pid, gone.pid, os.getpid(), 0, -1, 1):
            with self.subTest(pid=pid):
                tree = self.tree(pid)
                self.assertEqual(sorted(tree), ["id", "role"])
                self.assertEqual(tree["role"], "Unknown")


if __name__ == "__main__":
    support.main()
