"""The protocol over pipes: what each message is answered with, in both revisions."""

import json
import os
import subprocess
import threading
import unittest

from pipes import BINARY, META, MODERN, Bridge, ScriptedAgent, element, text_of, wait_for

CLIENT = {"protocolVersion": "2025-11-25", "capabilities": {}, "clientInfo": {"name": "test", "version": "1"}}
TREE = {"tree": element("AXApplication", "Editor", None, element("AXButton", "Save"))}
PARSE_ERROR, INVALID_REQUEST, NO_METHOD, INVALID_PARAMS, NO_VERSION = -32700, -32600, -32601, -32602, -32022


class Protocol(unittest.TestCase):
    def setUp(self):
        self.bridge = self.enterContext(Bridge())

    def error(self, message):
        self.assertNotIn("result", message)
        return message["error"]["code"]

    def test_lines_that_are_no_requests(self):
        lines = {
            (PARSE_ERROR, None): (b"{", b'{"jsonrpc":"2.0","id":1,"method":"ping"', b"[" * 500, b"\0",
                                  b'{"jsonrpc":"2.0","id":1,"method":"\xff"}'),
            (INVALID_REQUEST, None): (b"7", b'[{"jsonrpc":"2.0","id":1,"method":"ping"}]',
                                      *(b'{"jsonrpc":"2.0","id":%s,"method":"ping"}' % each for each in (b"null", b"1.5", b"{}"))),
            (INVALID_REQUEST, 1): (b'{"id":1,"method":"ping"}', b'{"jsonrpc":"2.0","id":1}',
                                   b'{"jsonrpc":"2.0","id":1,"method":7}'),
            (INVALID_REQUEST, "a"): (b'{"jsonrpc":"1.0","id":"a","method":"ping"}',),
            (INVALID_PARAMS, 1): (b'{"jsonrpc":"2.0","id":1,"method":"ping","params":[]}',)}
        for expected, line in ((expected, line) for expected, group in lines.items() for line in group):
            with self.subTest(line[:60]):
                self.bridge.write(line + b"\n")
                answer = self.bridge.read()
                self.assertEqual((self.error(answer), answer.get("id")), expected)
                self.assertNotEqual(answer.get("id", "absent"), None, "the clients take no id that is null")

    def test_what_is_never_answered(self):
        for line in (b"", b"\r", b'{"jsonrpc":"2.0","method":"ping"}', b'{"jsonrpc":"2.0","method":"tools/call"}',
                     b'{"jsonrpc":"2.0","method":"notifications/cancelled","params":{"requestId":9}}',
                     b'{"jsonrpc":"2.0","method":"notifications/cancelled"}',
                     b'{"jsonrpc":"2.0","id":5,"result":{}}', b'{"jsonrpc":"2.0","id":5,"error":{}}'):
            self.bridge.write(line + b"\n")
        for identifier in (7, -3, "", "seven", 2**63, 7.0):
            self.bridge.send(id=identifier, method="ping")
            self.assertEqual(self.bridge.read(), {"jsonrpc": "2.0", "id": identifier, "result": {}})

    def test_lines_that_are_too_long(self):
        def resident():
            with open(f"/proc/{self.bridge.process.pid}/status", encoding="ascii") as file:
                return next(int(line.split()[1]) for line in file if line.startswith("VmHWM"))
        before = resident()
        piece = b" " * 1_000_000
        for _ in range(100):
            self.bridge.write(piece)
        # Refused before it ends.
        self.assertEqual(self.error(self.bridge.read()), INVALID_REQUEST)
        self.bridge.write(b'"}\n')
        self.bridge.send(id=1, method="ping")
        self.assertEqual(self.bridge.read()["id"], 1)
        self.assertLess(resident() - before, 60_000, "KiB for a line that is not kept")

    def test_initialize_agrees_on_a_version(self):
        for asked, agreed in (("2025-11-25", "2025-11-25"), ("2025-06-18", "2025-06-18"), ("2024-11-05", "2024-11-05"),
                              ("2025-03-26", "2025-06-18"), ("2030-01-01", "2025-11-25"), (MODERN, "2025-11-25")):
            answer = self.bridge.ask("initialize", meta=None, **{**CLIENT, "protocolVersion": asked})
            self.assertEqual(answer["result"]["protocolVersion"], agreed)
            self.assertEqual(answer["result"]["capabilities"], {"tools": {}})
        for faulty in ({}, {**CLIENT, "protocolVersion": 1}, {**CLIENT, "capabilities": None},
                       {key: value for key, value in CLIENT.items() if key != "clientInfo"}):
            self.assertEqual(self.error(self.bridge.ask("initialize", meta=None, **faulty)), INVALID_PARAMS)

    def test_a_session_begins_with_initialize(self):
        self.assertEqual(self.error(self.bridge.ask("tools/list", meta=None)), INVALID_PARAMS)
        self.bridge.ask("initialize", meta=None, **CLIENT)
        self.bridge.send(method="notifications/initialized")
        listed = self.bridge.ask("tools/list", meta=None)["result"]
        self.assertEqual((set(listed), len(listed["tools"])), ({"tools"}, 15))
        self.assertEqual(self.error(self.bridge.ask("tools/list", meta=None, cursor="2")), INVALID_PARAMS)
        self.assertEqual(self.error(self.bridge.ask("server/discover", meta=None)), INVALID_PARAMS)
        self.assertEqual(self.error(self.bridge.ask("resources/list", meta=None)), NO_METHOD)

    def test_requests_that_carry_the_version(self):
        found = self.bridge.ask("server/discover")["result"]
        self.assertEqual((found["resultType"], found["supportedVersions"], found["cacheScope"]),
                         ("complete", [MODERN], "public"))
        listed = self.bridge.ask("tools/list")["result"]
        self.assertEqual((listed["resultType"], listed["cacheScope"]), ("complete", "public"))
        self.assertGreater(listed["ttlMs"], 0)
        self.assertEqual(listed, self.bridge.ask("tools/list")["result"])
        other = self.bridge.ask("tools/list", meta={**META, "io.modelcontextprotocol/protocolVersion": "2030-01-01"})
        self.assertEqual(self.error(other), NO_VERSION)
        self.assertEqual(other["error"]["data"], {"supported": [MODERN], "requested": "2030-01-01"})
        for method, meta, code in (
                ("tools/list", {"io.modelcontextprotocol/protocolVersion": MODERN}, INVALID_PARAMS),
                ("tools/list", {**META, "io.modelcontextprotocol/protocolVersion": 7}, INVALID_PARAMS),
                ("server/discover", {"x": 1}, INVALID_PARAMS), ("ping", META, NO_METHOD),
                ("initialize", META, NO_METHOD), ("", META, NO_METHOD)):
            with self.subTest(method, meta=meta):
                self.assertEqual(self.error(self.bridge.ask(method, meta=meta)), code)

    def test_calls_that_are_no_calls(self):
        for params in ({}, {"name": 7}, {"name": "delete_everything"}, {"name": "find", "arguments": []}):
            self.assertEqual(self.error(self.bridge.ask("tools/call", **params)), INVALID_PARAMS)

    def test_the_listed_tools_say_what_they_do(self):
        tools = {tool["name"]: tool for tool in self.bridge.ask("tools/list")["result"]["tools"]}
        self.assertLess(len(json.dumps(list(tools.values()), separators=(",", ":"), ensure_ascii=False)), 16_000)
        for name, tool in tools.items():
            self.assertEqual({"name", "title", "description", "inputSchema", "outputSchema", "annotations"}, set(tool))
            self.assertEqual((tool["inputSchema"]["type"], tool["outputSchema"]["type"]), ("object", "object"), name)
        looks = {"snapshot", "find", "wait_for", "screenshot", "read_screen", "find_on_screen", "list_shortcuts"}
        self.assertEqual({name for name, tool in tools.items() if tool["annotations"].get("readOnlyHint")}, looks)
        harmless = {name for name, tool in tools.items() if tool["annotations"].get("destructiveHint") is False}
        self.assertEqual(harmless, {"scroll", "begin_batch", "end_batch"})

    def test_the_command_line(self):
        for arguments, status in ((["--help"], 0), (["--port", "x"], 1), (["--port", "0"], 1), (["--port", "65536"], 1),
                                  (["install"], 1), (["--no-prompt"], 1)):
            with Bridge(arguments=arguments) as bridge:
                self.assertEqual(bridge.process.wait(20), status, arguments)


class Calls(unittest.TestCase):
    """Calls that take their time."""

    def setUp(self):
        self.go_on = threading.Event()
        self.addCleanup(self.go_on.set)
        self.agent = self.enterContext(ScriptedAgent(**{
            "/ax/tree": (200, TREE), "/ax/find": (200, {"matches": []}), "/applescript/run": self.run_script}))
        self.bridge = self.enterContext(Bridge(self.agent.port))

    def run_script(self, body):
        self.go_on.wait(20)
        return 200, {"ok": True, "output": body["script"]}

    def start_script(self, identifier, **meta):
        count = len(self.agent.asked("/applescript/run"))
        self.bridge.send(id=identifier, method="tools/call", params={
            "_meta": {**META, **meta}, "name": "run_applescript", "arguments": {"script": str(identifier)}})
        wait_for(lambda: len(self.agent.asked("/applescript/run")) > count, "the script to be run")

    def test_calls_do_not_wait_for_each_other(self):
        self.start_script("slow")
        self.start_script(100)
        self.assertIn("Editor", text_of(self.bridge.call("snapshot")))
        self.bridge.send(id="slow", method="tools/call", params={"_meta": META, "name": "snapshot"})
        twice = self.bridge.read()
        self.assertEqual(("id" in twice, twice["error"]["code"]), (False, INVALID_REQUEST))
        self.go_on.set()
        answers = {answer["id"]: text_of(answer["result"]) for answer in (self.bridge.read(), self.bridge.read())}
        self.assertEqual(answers, {"slow": "slow", 100: "100"})

    def test_a_cancelled_call_is_not_answered(self):
        self.start_script("a", progressToken=5)
        self.bridge.send(id="b", method="tools/call", params={
            "_meta": META, "name": "wait_for", "arguments": {"label": "never"}})
        wait_for(lambda: self.agent.asked("/ax/find"), "a look at the application")
        for identifier in ("unknown", "a", "b", "a"):
            self.bridge.send(method="notifications/cancelled", params={"requestId": identifier})
        self.bridge.ask("tools/list")
        looks = len(self.agent.asked("/ax/find"))
        self.go_on.set()
        messages, status = self.bridge.finish()
        self.assertEqual((messages, status), ([], 0))
        self.assertLessEqual(len(self.agent.asked("/ax/find")), looks + 1)

    def test_progress_grows_until_the_answer(self):
        self.start_script("long", progressToken="mine")
        first, second = self.bridge.read(), self.bridge.read()
        self.assertEqual([message["method"] for message in (first, second)], ["notifications/progress"] * 2)
        self.assertEqual(first["params"]["progressToken"], "mine")
        self.assertLess(first["params"]["progress"], second["params"]["progress"])
        self.assertIn("person", first["params"]["message"])
        self.go_on.set()
        self.assertEqual(self.bridge.read()["id"], "long")
        self.assertEqual(self.bridge.finish(), ([], 0))

    def test_the_end_of_the_input_waits_for_what_is_under_way(self):
        self.start_script(1)
        self.bridge.write(json.dumps({"jsonrpc": "2.0", "id": 2, "method": "ping"}).encode())  # without a line feed
        self.bridge.process.stdin.close()
        self.assertEqual(self.bridge.read()["id"], 2)
        self.assertIsNone(self.bridge.process.poll())
        self.go_on.set()
        self.assertEqual(self.bridge.read()["id"], 1)
        self.assertIsNone(self.bridge.read())
        self.assertEqual(self.bridge.process.wait(20), 0)

    def test_more_calls_than_are_served(self):
        for number in range(65):
            self.bridge.send(id=number, method="tools/call", params={
                "_meta": META, "name": "run_applescript", "arguments": {"script": "x"}})
        refused = self.bridge.read()
        self.assertEqual((refused["id"], refused["result"]["isError"]), (64, True))
        self.go_on.set()
        self.assertEqual({self.bridge.read()["id"] for _ in range(64)}, set(range(64)))

    def test_the_end_of_the_output_ends_the_process(self):
        reader, writer = os.pipe()
        process = subprocess.Popen([BINARY, "--port", str(self.agent.port), "--token", "x"], stdin=subprocess.PIPE,
                                   stdout=writer)
        os.close(writer)
        os.close(reader)
        with process.stdin as stream:
            stream.write(b'{"jsonrpc":"2.0","id":1,"method":"ping"}\n')
            stream.flush()
            self.assertEqual(process.wait(20), 1)


if __name__ == "__main__":
    unittest.main(verbosity=2)
