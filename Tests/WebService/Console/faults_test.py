#!/usr/bin/python3
"""The fault plan in the console, in a real browser.

    faults_test.py SERVICE [TEST...]
"""

import json

from selenium.webdriver.common.action_chains import ActionChains
from selenium.webdriver.common.keys import Keys

from console_page import POLL, STREAM, ConsoleTest, main, wait

PLAN = {"faults": [
    {"path": POLL, "computer": "7", "skip": 1, "times": 2, "action": {"kind": "status", "code": 503, "body": "busy"}},
    {"action": {"kind": "delay", "seconds": 0.01}},
]}


class TheFaultPlan(ConsoleTest):
    def setUp(self):
        super().setUp()
        self.page.open("#faults")
        wait(lambda: "faults" in self.value(), "the plan")

    def value(self):
        return self.page.run("return document.getElementById('plan').value")

    def selected(self):
        return self.page.run("const at = document.getElementById('plan'); return at.value.slice(at.selectionStart, at.selectionEnd)")

    def faults(self):
        return self.service.api("/faults")["faults"]

    def apply(self, text):
        self.page.fill("#plan", text)
        self.page.button("Apply")

    def test_is_applied_and_shows_its_counters(self):
        self.page.wait_text("#faults-empty", "No fault is in force")
        self.apply(json.dumps(PLAN, indent=1))
        self.page.wait_text("#toast", "2 faults are in force.")
        rows = self.page.wait_rows("faults-table", lambda rows: len(rows) == 2, "two faults")
        self.assertEqual(rows[0], ["0", f"{POLL}\nof computer 7", "status code 503, body busy", "1", "2", "0", "0"])
        self.assertEqual(rows[1], ["1", "Every operation", "delay seconds 0.01", "0", "all", "0", "0"])
        for _ in range(3):
            self.service.operation(POLL, ToComputerID="7")
        self.page.wait_rows("faults-table", lambda rows: [row[5:] for row in rows] == [["3", "2"], ["3", "1"]], "counters")
        self.assertEqual(json.loads(self.value()), PLAN)
        self.assertIn('"action": { "kind": "status", "code": 503, "body": "busy" }', self.value())

    def test_shows_an_error_at_the_value_that_is_wrong(self):
        text = json.dumps(PLAN, indent=1).replace('"delay"', '"dalay"')
        self.apply(text)
        self.page.wait_text("#plan-error", "faults[1].action.kind: ")
        self.assertEqual(self.selected(), '"dalay"')
        line = text[:text.index('"dalay"')].count("\n") + 1
        self.assertTrue(self.page.text("#plan-error").startswith(f"Line {line}: faults[1]"))
        self.assertEqual(self.page.text("#gutter .wrong"), str(line))
        self.assertEqual(self.page.find("#plan").get_attribute("aria-invalid") is not None, True)
        self.assertEqual(self.faults(), [])
        self.page.find("#plan").send_keys(Keys.ARROW_RIGHT, Keys.BACKSPACE, '"')
        wait(lambda: not self.page.text("#plan-error"), "the error goes as the text is changed")

    def test_shows_an_error_of_the_syntax_at_its_line(self):
        self.apply('{"faults": [\n  {"action" {}}\n]}')
        self.page.wait_text("#plan-error", "line 2, column ")
        self.assertEqual(self.page.text("#gutter .wrong"), "2")

    def test_shows_where_a_member_is_missing(self):
        self.apply('{"faults": [\n  {"times": 1},\n  {"action": {"kind": "reset"}}\n]}')
        self.page.wait_text("#plan-error", "faults[0].action: ")
        self.assertEqual(self.selected(), '{"times": 1}')

    def test_is_cleared(self):
        self.service.request("PUT", "/faults", json.dumps(PLAN))
        self.page.wait_rows("faults-table", lambda rows: len(rows) == 2, "two faults")
        self.page.button("Clear plan…")
        self.page.button("Cancel", "#confirm")
        self.assertEqual(len(self.faults()), 2)
        self.page.button("Clear plan…")
        self.page.button("Clear plan", "#confirm")
        self.page.wait_text("#toast", "The fault plan is empty.")
        self.page.wait_text("#faults-empty", "No fault is in force")
        self.assertEqual(self.faults(), [])

    def test_takes_an_example_and_is_applied_by_the_keyboard(self):
        self.page.run("const at = document.getElementById('example'); at.value = 'Corrupt a byte'; at.dispatchEvent(new Event('change'))")
        self.assertEqual(self.page.focused().split()[1], "plan")
        self.page.wait_text("#plan-state", "The text is not applied.")
        ActionChains(self.page.driver).key_down(Keys.CONTROL).send_keys(Keys.ENTER).key_up(Keys.CONTROL).perform()
        self.page.wait_text("#toast", "1 fault is in force.")
        self.assertEqual([fault["action"] for fault in self.faults()], [{"kind": "corrupt", "atByte": 1000}])

    def test_has_examples_that_are_all_accepted(self):
        names = self.page.run("return [...document.getElementById('example').options].map((each) => each.value).filter(Boolean)")
        for name in names:
            self.page.run("const at = document.getElementById('example'); at.value = arguments[0]; at.dispatchEvent(new Event('change'))", name)
        self.page.button("Apply")
        self.page.wait_text("#toast", "9 faults are in force.")
        self.assertEqual({fault["action"]["kind"] for fault in self.faults()},
                         {"reset", "close", "stall", "delay", "throttle", "status", "body", "headers", "corrupt"})

    def test_does_not_replace_a_text_that_somebody_is_at_work_on(self):
        self.page.fill("#plan", '{"faults": [ half')
        self.service.request("PUT", "/faults", json.dumps(PLAN))
        self.page.wait_rows("faults-table", lambda rows: len(rows) == 2, "two faults")
        self.assertEqual(self.value(), '{"faults": [ half')
        self.page.button("Revert")
        self.assertEqual(json.loads(self.value()), PLAN)


if __name__ == "__main__":
    main()
