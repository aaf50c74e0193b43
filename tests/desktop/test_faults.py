"""Applications that freeze and a desktop whose parts go away under the agent."""

import os
import signal
import threading

import support
from support import DesktopTest, find, wait_for

FULL_NAME = {"role": "AXButton", "label": "Save"}


class Frozen(DesktopTest):
    # A request about a frozen application has 6 seconds; the rest is for a slow machine.
    LIMIT = 6 + 2

    def setUp(self):
        super().setUp()
        self.frozen, self.other = self.start_known_widgets("Frozen"), self.start_known_widgets("Other")
        for app in (self.frozen, self.other):
            self.known_tree(app)

    def resources(self):
        base = f"/proc/{self.agent.process.pid}"
        return len(os.listdir(base + "/fd")), len(os.listdir(base + "/task"))

    def freeze(self):
        os.kill(self.frozen.pid, signal.SIGSTOP)
        self.addCleanup(os.kill, self.frozen.pid, signal.SIGCONT)

        def stopped():
            with open(f"/proc/{self.frozen.pid}/stat", encoding="ascii", errors="replace") as file:
                return file.read().rpartition(")")[2].split()[0] == "T"
        wait_for(stopped, 5, "the application to stop")
        # What was read before must not answer for it.
        wait_for(lambda: self.agent.tree(self.frozen.pid).headers["X-Varkel-Cache"] == "MISS", 20, "an empty cache")

    def thaw(self):
        os.kill(self.frozen.pid, signal.SIGCONT)
        self.wait_for_tree(self.frozen.pid, lambda tree: find(tree, **FULL_NAME), "the tree after the thaw")

    def test_a_frozen_application_is_answered_with_what_there_is_and_holds_nobody_up(self):
        self.freeze()
        answers = []
        asking = threading.Thread(target=lambda: answers.append(self.agent.tree(self.frozen.pid)))
        asking.start()
        try:
            for _ in range(3):
                self.assertEqual(self.agent.request("GET", "/health", timeout=3).status, 200)
                self.assertIsNotNone(find(self.agent.tree(self.other.pid, timeout=5).json()["tree"], **FULL_NAME))
        finally:
            asking.join(30)
        self.assertEqual(answers[0].status, 200)
        self.assertLess(answers[0].seconds, self.LIMIT)
        self.thaw()

    def test_asking_a_frozen_application_often_leaks_nothing(self):
        def round_of_requests():
            os.kill(self.frozen.pid, signal.SIGSTOP)
            threads = [threading.Thread(target=self.agent.tree, args=(self.frozen.pid,)) for _ in range(3)]
            for thread in threads:
                thread.start()
            for thread in threads:
                thread.join(30)
            self.thaw()
        round_of_requests()  # what is made on first use is there afterwards
        before = self.resources()
        for _ in range(3):
            round_of_requests()

        def back():
            now = self.resources()
            return now[0] <= before[0] and now[1] <= before[1]
        wait_for(back, 15, f"{before} descriptors and threads again, now {self.resources()}")


class BrokenDesktop(DesktopTest):
    def test_applications_are_readable_again_when_the_accessibility_bus_is_back(self):
        app = self.start_known_widgets("Before")
        self.known_tree(app)
        for round_number in range(2):
            with self.subTest(round=round_number):
                self.desktop.kill_accessibility_bus()

                def cut_off(pid=app.pid):
                    answer = self.agent.tree(pid)
                    if answer.status == 403:
                        return answer.json()["error"] == "ax_permission_missing"
                    return answer.status == 200 and answer.json()["tree"]["role"] == "Unknown"
                wait_for(cut_off, 10, "403 or the minimal tree")
                self.assertEqual(self.agent.request("GET", "/health").status, 200)
                self.desktop.start_accessibility_bus()
                app = self.start_known_widgets(f"After {round_number}")
                self.known_tree(app)

    def test_an_application_that_dies_reads_as_one_unknown_element(self):
        app = self.start_known_widgets()
        self.known_tree(app)
        app.kill()
        app.wait()
        self.wait_for_tree(app.pid, lambda tree: sorted(tree) == ["id", "role"], "the minimal tree")


if __name__ == "__main__":
    support.main()
