"""What the tools make of the agent's answers, and of its failures."""

import json
import os
import tempfile
import time
import unittest

from pipes import Bridge, ScriptedAgent, element, text_of


def form(*more):
    return element("AXApplication", "Editor", None, element(
        "AXWindow", "Letter", None,
        element("AXGroup", None, None, element("AXGroup", None, None, element("AXTextField", "Name", "Berta"))),
        element("AXButton", "Save", enabled=False, frame={"x": 10, "y": 20.4, "width": 80, "height": 30}),
        element("AXImage"), element("AXGroup"), *more))


class Tools(unittest.TestCase):
    def start(self, **answers):
        self.agent = self.enterContext(ScriptedAgent(**answers))
        self.bridge = self.enterContext(Bridge(self.agent.port))

    def snapshot(self, tree, **arguments):
        self.agent.answers["/ax/tree"] = (200, {"tree": tree})
        result = self.bridge.call("snapshot", **arguments)
        self.assertNotIn("isError", result, text_of(result))
        self.assertTrue(text_of(result).startswith(result["structuredContent"]["tree"]))
        return result

    def test_a_snapshot_shows_what_can_be_read_or_acted_on(self):
        self.start()
        shown = self.snapshot(form())
        lines = [line.rpartition(" #")[0] for line in text_of(shown).split("\n")]
        self.assertEqual(lines[:4], ['AXApplication "Editor"', ' AXWindow "Letter"', '  AXTextField "Name" = "Berta"',
                                     '  AXButton "Save" disabled'])
        self.assertEqual({key: shown["structuredContent"][key] for key in ("elements", "shown", "leftOut")},
                         {"elements": 8, "shown": 4, "leftOut": 4})
        self.assertEqual(self.snapshot(form(), all=True)["structuredContent"]["shown"], 8)
        for arguments, expected in (({"role": "AXButton"}, ["AXApplication", "AXWindow", "AXButton"]),
                                    ({"text": "bERTA"}, ["AXApplication", "AXWindow", "AXTextField"]),
                                    ({"depth": 1}, ["AXApplication", "AXWindow"]),
                                    ({"depth": 0}, ["AXApplication"]), ({"text": "nowhere"}, ["AXApplication"])):
            with self.subTest(arguments):
                tree = self.snapshot(form(), **arguments)["structuredContent"]["tree"]
                self.assertEqual([line.split()[0] for line in tree.splitlines()], expected)
        window = form()["children"][0]
        begun = self.snapshot(form(), elementId=window["id"])["structuredContent"]["tree"]
        self.assertTrue(begun.startswith('AXWindow "Letter"'))
        self.assertTrue(self.bridge.call("snapshot", elementId="0" * 16)["isError"])

    def test_a_snapshot_stays_in_its_budget(self):
        self.start()
        rows = [element("AXRow", f"Row {i}", id=f"{i:016x}") for i in range(1000)]
        table = element("AXTable", "Songs", None, *rows)
        other = element("AX\n#1", "Lyrics\0\x1b", 'é"\n' * 3000)
        tree = element("AXApplication", "Player", None, element("AXWindow", "Main", None, table, other))
        for budget in (100, 1000, 5000, 20_000, 200_000):
            shown = self.snapshot(tree, maxCharacters=budget)
            text, counts = shown["structuredContent"]["tree"], shown["structuredContent"]
            self.assertLessEqual(len(text), budget)
            self.assertEqual((counts["elements"], counts["shown"] + counts["leftOut"]), (1004, 1004))
            self.assertEqual(text.count("\n"), counts["shown"], "an element is one line")
            self.assertNotIn("\x1b", text)
            for line in text.splitlines():
                self.assertRegex(line, r"#[0-9a-f]{16}( \[1,000 AXRow\])?( \+[0-9,]+ inside)?$")
            if budget >= 1000:
                self.assertIn("Lyrics", text, "what follows a long list has room, too")
                self.assertIn("[1,000 AXRow]", text)
            if counts["leftOut"]:
                self.assertIn("elementId", text_of(shown))
        self.assertEqual(self.snapshot(tree, maxCharacters=200_000)["structuredContent"]["shown"], 1004)
        # The whole of a long value is there when it is asked for by itself.
        whole = self.snapshot(tree, elementId=other["id"])["structuredContent"]["tree"]
        self.assertIn('é\\"\\n' * 1000, whole)

    def test_deep_trees(self):
        self.start()
        for levels, deep_enough in ((1024, True), (100_000, False)):
            self.agent.answers["/ax/tree"] = (200, b'{"tree":' + b'{"role":"AXGroup","children":[' * (levels - 1)
                                              + b'{"role":"AXButton","label":"leaf"}' + b"]}" * (levels - 1) + b"}")
            self.assertEqual("leaf" in text_of(self.bridge.call("snapshot")), deep_enough)

    def test_find(self):
        self.start(**{"/ax/find": (200, {"matches": [form(), form()["children"][0]["children"][1]]})})
        result = self.bridge.call("find", label="e", maxResults=2, role=None)
        self.assertEqual(self.agent.asked("/ax/find"), [{"label": "e", "maxResults": 2}])
        matches = result["structuredContent"]["matches"]
        self.assertEqual([(each["label"], each.get("inside")) for each in matches], [("Editor", 7), ("Save", None)])
        self.assertEqual(matches[1]["frame"], {"x": 10, "y": 20, "width": 80, "height": 30})
        self.assertIn('AXButton "Save" disabled at 10,20 80x30 #', text_of(result))
        self.assertIn("may be more", text_of(result))
        self.agent.answers["/ax/find"] = (200, {"matches": []})
        self.assertEqual(self.bridge.call("find")["structuredContent"], {"matches": []})

    def act(self, before, after, tool="click", **arguments):
        """Acts; the tree is `after` from then on."""
        state = {"tree": before}

        def obey(_body):
            state["tree"] = after
            return 200, {"ok": True, "method": "ax_press"}
        self.agent.answers.update({"/ax/tree": lambda _: (200, {"tree": state["tree"]}), "/ax/click": obey,
                                   "/keystrokes": obey, "/ax/type": obey, "/ax/scroll": obey})
        return self.bridge.call(tool, **arguments)

    def test_an_act_answers_what_changed(self):
        self.start()
        button = {"elementId": "1" * 16}
        dialog = element("AXWindow", "Sure?", None, element("AXButton", "Yes"))
        several = [element("AXRow", f"Row {i}", id=f"{i:016x}") for i in range(50)]
        moved = [dict(row, id=f"{i + 1000:016x}") for i, row in enumerate(several)]
        renamed = form(element("AXButton", "Pause", id="b" * 16))
        for before, after, expected in (
                (form(), form(dialog), ['new AXWindow "Sure?"', 'new  AXButton "Yes"']),
                (form(dialog), form(), ['gone AXWindow "Sure?"']),
                (form(element("AXSplitter"), dialog), form(element("AXButton", "Late", id="c" * 16)),
                 ['new AXButton "Late"', 'gone AXWindow "Sure?"']),
                (form(element("AXButton", "Play", id="a" * 16)), renamed, ['changed AXButton "Pause"']),
                (form(element("AXCheckBox", "On", "0")), form(element("AXCheckBox", "On", "1")),
                 ['changed AXCheckBox "On" = "1"']),
                (form(*several), form(element("AXRow", "First", id="f" * 16), *moved), ['new AXRow "First"']),
                (form(*several), form(), ["gone AXRow"] * 30 + ["and 20 more"]),
                (form(), element("AXApplication", "Other"), ["Another application"])):
            with self.subTest(expected[0]):
                result = self.act(before, after, **button)
                changes = result["structuredContent"]["changes"]
                self.assertEqual([line.startswith(start) for line, start in zip(changes, expected, strict=True)],
                                 [True] * len(expected), changes)
                self.assertIn(changes[0], text_of(result))
        self.assertIn("50 elements are as they were but have new ids", text_of(
            self.act(form(*several), form(element("AXRow", "First", id="f" * 16), *moved), **button)))

    def test_an_act_that_changes_nothing_is_looked_at_for_a_while(self):
        self.start()
        result = self.act(form(), form(), elementId="1" * 16, timeoutMs=300)
        self.assertEqual(result["structuredContent"], {"method": "ax_press", "changes": []})
        self.assertIn("Nothing has changed", text_of(result))
        looks = len(self.agent.asked("/ax/tree"))
        self.assertGreater(looks, 2)
        self.assertEqual(self.act(form(), form(), elementId="1" * 16, timeoutMs=0)["structuredContent"],
                         {"method": "ax_press"})
        self.assertEqual(len(self.agent.asked("/ax/tree")), looks, "with no time nothing is looked at")

    def test_what_the_agent_is_asked(self):
        self.start()
        for tool, arguments, path, body in (
                ("click", {"elementId": "1", "batch_id": None}, "/ax/click", {"elementId": "1"}),
                ("type_text", {"elementId": "1", "text": "ä"}, "/ax/type", {"elementId": "1", "text": "ä"}),
                ("scroll", {"elementId": "1", "direction": "down", "amount": 2.5}, "/ax/scroll",
                 {"elementId": "1", "direction": "down", "amount": 2.5}),
                ("press_keys", {"keys": ["ctrl+a"], "app_name": "Editor"}, "/keystrokes",
                 {"keys": ["ctrl+a"], "app_name": "Editor"})):
            self.act(form(), form(), tool, **arguments, timeoutMs=0)
            self.assertEqual(self.agent.asked(path), [body])
        self.agent.answers.update({
            "/batch/begin": (200, {"ok": True, "batch_id": "default"}), "/shortcut/list": (
                200, {"ok": True, "shortcuts": ["Shout", "Tea"]}), "/shortcut": (200, {"ok": True, "output": "x" * 500}),
            "/ax/find": (200, {"matches": [form()]})})
        self.assertEqual(self.bridge.call("begin_batch")["structuredContent"], {"batch_id": "default"})
        self.assertEqual(self.bridge.call("list_shortcuts")["structuredContent"], {"shortcuts": ["Shout", "Tea"]})
        cut = self.bridge.call("run_shortcut", name="Tea", input="i", timeoutMs=2000.0, maxCharacters=100)
        self.assertEqual(self.agent.asked("/shortcut"), [{"name": "Tea", "input": "i", "timeoutMs": 2000}])
        self.assertIn("400 more characters", text_of(cut))
        self.assertIn("Editor", text_of(self.bridge.call("snapshot", batch_id="b")))
        self.assertEqual(self.agent.asked("/ax/find"), [{"batch_id": "b", "maxResults": 1}])
        self.assertEqual({headers["x-varkel-token"] for _, _, headers in self.agent.requests}, {"secret"})
        for _, _, headers in self.agent.requests:
            self.assertFalse([name for name in headers if "consent" in name.lower() or "overlay" in name.lower()])

    def test_waiting(self):
        self.start()
        looks = []

        def third_time(_body):
            looks.append(0)
            return 200, {"matches": [element("AXButton", "Done")] if len(looks) > 2 else []}
        self.agent.answers["/ax/find"] = third_time
        met = self.bridge.call("wait_for", label="Done")
        self.assertTrue(met["structuredContent"]["met"])
        self.assertEqual(met["structuredContent"]["element"]["label"], "Done")
        self.assertFalse(self.bridge.call("wait_for", label="Done", gone=True, timeoutMs=0)["structuredContent"]["met"])
        self.agent.answers["/ax/tree"] = (200, {"tree": form()})
        for arguments, there in (({"text": "BERTA"}, True), ({"text": "berta", "role": "AXButton"}, False),
                                 ({"text": "letter", "label": "letter"}, False), ({"text": "x"}, False)):
            for gone in (False, True):
                result = self.bridge.call("wait_for", **arguments, gone=gone, timeoutMs=1)
                self.assertEqual(result["structuredContent"]["met"], there != gone, arguments)
        self.assertTrue(self.bridge.call("wait_for", timeoutMs=1)["isError"])
        self.assertTrue(self.bridge.call("wait_for", text="a", valueRegex="b")["isError"])

    def test_faulty_arguments(self):
        self.start()
        for tool, arguments, part in (
                ("click", {}, "elementId is missing"), ("click", {"elementId": 7}, "must be a text"),
                ("click", {"elementId": "1", "element": 1}, "the arguments are elementId"),
                ("snapshot", {"depth": 1.5}, "must be an integer"), ("snapshot", {"depth": -1}, "must be an integer"),
                ("snapshot", {"root_pid": 1, "batch_id": "b"}, "not both"),
                ("snapshot", {"maxCharacters": 1e300}, "at least 100"), ("snapshot", {"all": "yes"}, "true or false"),
                ("scroll", {"elementId": "1", "direction": "sideways"}, "up, down, left, right"),
                ("press_keys", {}, "Give a text"), ("press_keys", {"keys": "a"}, "an array of texts"),
                ("press_keys", {"keys": [1]}, "an array of texts"), ("list_shortcuts", {"x": 1}, "no arguments")):
            with self.subTest(tool, **arguments):
                result = self.bridge.call(tool, **arguments)
                self.assertTrue(result["isError"])
                self.assertIn(part, text_of(result))
        self.assertEqual(self.agent.requests, [])

    def test_each_failure_has_its_sentence(self):
        self.start()
        sentences = set()
        for status, body, part in (
                (401, {"error": "unauthorized"}, "token"), (403, {"error": "consent_denied"}, "did not allow"),
                (404, {"error": "element_not_found"}, "new snapshot"), (404, {"error": "not_found"}, "older version"),
                (403, {"error": "ax_permission_missing", "hint": "x"}, "accessibility bus"),
                (500, {"error": "could_not_get_frontmost_app"}, "in front"),
                (500, {"error": "action_failed", "hint": "x"}, "no action"),
                (400, {"error": "unknown_key", "token": "cmd+nope"}, '"cmd+nope"'),
                (404, {"error": "app_not_found", "bundle_id": "nix"}, '"nix"'),
                (500, {"error": "applescript_failed", "stderr": "line 3"}, '"line 3"'),
                (500, {"error": "shortcut_failed", "message": "gone"}, '"gone"'),
                (504, {"error": "shortcut_timeout"}, "timeoutMs"), (500, {"error": "strange"}, '"strange"'),
                (500, {"error": "internal_error"}, "no reason"), (200, b"<html>", "not the agent"),
                (500, b"{", "not the agent"), (200, {"trees": 1}, "not the agent"), (200, {"tree": 7}, "not the agent")):
            with self.subTest(body):
                self.agent.answers["/ax/tree"] = (status, body)
                result = self.bridge.call("snapshot")
                self.assertTrue(result["isError"])
                self.assertIn(part, text_of(result))
                self.assertNotIn("structuredContent", result)
                sentences.add(text_of(result))
        self.assertEqual(len(sentences), 16)
        interim = b"HTTP/1.1 100 Continue\r\n\r\n" * 3
        whole = json.dumps({"tree": form()}).encode()
        self.agent.answers["/ax/tree"] = interim + b"HTTP/1.1 200 OK\r\nContent-Length: %d\r\n\r\n" % len(whole) + whole
        self.assertIn("Letter", text_of(self.bridge.call("snapshot")))
        for bytes_sent in (b"", interim, b"hello\r\n\r\n", b"HTTP/1.1 200 OK\r\nContent-Length: 10\r\n\r\n{}",
                           b"HTTP/1.1 200 OK\r\nContent-Length: 99999999999\r\n\r\n"):
            self.agent.answers["/ax/tree"] = bytes_sent
            self.assertTrue(self.bridge.call("snapshot")["isError"], bytes_sent)

    def test_the_agent_is_looked_for_anew_with_each_call(self):
        with tempfile.TemporaryDirectory() as folder:
            file = os.path.join(folder, "token")
            with ScriptedAgent(**{"/ax/tree": (200, {"tree": form()})}) as agent, Bridge(
                    arguments=["--port", str(agent.port), "--token-file", file]) as bridge:
                self.assertIn("has no token", text_of(bridge.call("snapshot")))
                with open(file, "w", encoding="ascii") as stream:
                    stream.write(" first \n")
                bridge.call("snapshot")
                agent.answers["/ax/tree"] = (401, {"error": "unauthorized"})
                with open(file, "w", encoding="ascii") as stream:
                    stream.write("second")
                bridge.call("snapshot")
                agent.answers["/ax/tree"] = (200, {"tree": form()})
                bridge.call("snapshot")
                self.assertEqual([headers["x-varkel-token"] for _, _, headers in agent.requests],
                                 ["first", "first", "second"])
            # Now its port is free.
            with Bridge(agent.port) as bridge:
                self.assertIn("is not running", text_of(bridge.call("click", elementId="1")))

    def test_large_trees_take_little_time(self):
        """The bound is generous: a benchmark has the figures."""
        self.start()
        rows = [element("AXRow", None, None, *(element("AXCell", f"{i}.{k}") for k in range(60))) for i in range(1000)]
        self.agent.answers["/ax/tree"] = (200, json.dumps({"tree": element("AXApplication", "Big", None, *rows)}).encode())
        began = time.monotonic()
        self.assertEqual(self.bridge.call("snapshot")["structuredContent"]["elements"], 61_001)
        self.assertLess(time.monotonic() - began, 20)


if __name__ == "__main__":
    unittest.main(verbosity=2)
