"""Applications that answer with nonsense, loops and hierarchies without end."""

import json

import support
from support import DesktopTest, element_id, find, resident_kib, walk

ROLE = b'"role":'
PATIENCE = 30  # seconds for an answer; far above what the agent allows a request


class Hostile(DesktopTest):
    def ask(self, kind):
        """The answer about an application of this kind, which leaves the agent as well as before."""
        process = self.start_hostile(kind)
        answer = self.agent.tree(process.pid, timeout=PATIENCE)
        self.assertEqual(answer.status, 200, answer.body[:300])
        self.assertIsNone(self.agent.process.poll())
        self.assertEqual(self.agent.request("GET", "/health", timeout=5).status, 200)
        self.assertLess(resident_kib(self.agent.process.pid), 1_000_000, "KiB of memory")
        self.desktop.stop(process)
        return answer

    def test_an_ordinary_application_of_the_same_make_reads_whole(self):
        tree = self.ask("ordinary").json()["tree"]
        self.assertEqual([(e["role"], e["label"]) for e in walk(tree)],
                         [("AXApplication", "node 0"), ("AXButton", "node 1"), ("AXButton", "node 2"),
                          ("AXButton", "node 3")])

    def test_a_search_for_an_id_asks_about_many_elements_at_a_time(self):
        process = self.start_hostile("patient")
        wanted = element_id(process.pid, {"role": "AXButton", "label": "node 4"}, "0/0/2")
        answer = self.agent.request("POST", "/ax/click", {"elementId": wanted}, PATIENCE)
        # Found, that is; it has neither an action nor a place.
        self.assertEqual((answer.status, answer.json()["error"]), (500, "action_failed"))

    def test_loops_end(self):
        for kind in ("loop", "itself"):
            with self.subTest(kind):
                body = self.ask(kind).body
                self.assertGreater(body.count(ROLE), 1)
                self.assertLess(body.count(ROLE), 100_000)

    def test_only_the_first_thousand_children_are_read(self):
        tree = self.ask("wide").json()["tree"]
        self.assertEqual([child["label"] for child in tree["children"]], [f"node {n}" for n in range(1, 1001)])
        self.ask("very wide")

    def test_answers_of_the_wrong_type_count_as_absent(self):
        for element in walk(self.ask("wrong types").json()["tree"]):
            self.assertNotIn("label", element)
            self.assertNotIn("enabled", element)

    def test_texts_of_any_kind_stay_valid_json(self):
        tree = self.ask("bad text").json()["tree"]
        self.assertEqual(tree["label"], "quote \" backslash \\ control \x01 \x7f line \u2028 emoji \U0001F600")
        json.loads(self.ask("huge text").body)

    def test_objects_that_do_not_answer_or_do_not_exist_hold_nothing_up(self):
        for kind in ("silent", "strangers"):
            with self.subTest(kind):
                self.assertEqual(self.ask(kind).json()["tree"]["role"], "AXApplication")
        app = self.start_known_widgets()
        self.assertIsNotNone(find(self.known_tree(app), identifier="save-button"))


if __name__ == "__main__":
    support.main()
