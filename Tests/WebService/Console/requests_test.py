#!/usr/bin/python3
"""The list of requests in the console, in a real browser.

    requests_test.py SERVICE [TEST...]
"""

import json
import os
import subprocess
import tempfile

from console_page import POLL, ROOT, STREAM, ConsoleTest, main, wait


class TheRequests(ConsoleTest):
    def latest(self, operation):
        """Opens the latest request of an operation by its link."""
        rows = self.page.wait_rows("requests-table", lambda rows: any(operation in row[1] for row in rows), operation)
        index = next(index for index, row in enumerate(rows) if operation in row[1])
        self.page.click(f"#requests-table tbody tr:nth-child({index + 1}) a")
        wait(lambda: self.page.text("#request-content"), "the request is shown")

    def test_are_shown_as_they_are_answered_the_latest_first(self):
        self.page.open("#requests")
        self.page.wait_text("#requests-empty", "No requests yet.")
        self.service.operation(POLL, ToComputerID="7")
        self.service.request("GET", "/no/such/page")
        rows = self.page.wait_rows("requests-table", lambda rows: len(rows) == 2, "two requests")
        self.assertEqual([row[1:4] for row in rows], [["GET /no/such/page", "", "404"], [POLL, "7", "200"]])
        self.assertRegex(rows[0][0], r"^\d\d:\d\d:\d\d\.\d\d\d$")

    def test_are_shown_with_header_fields_and_bodies(self):
        self.service.put("7", "a.txt")
        self.service.operation(POLL, ToComputerID="7")
        self.page.open("#requests")
        self.latest(POLL)
        text = self.page.text("#request-content")
        self.assertIn('{\n  "ToComputerID": "7"\n}', text)
        self.assertIn('"FileName": "\\\\a.txt"', text)
        self.assertRegex(text, r"Content-Type\s+application/json")
        self.page.button("As it was sent", "#request-content")
        self.page.wait_text("#request-content", '{"ToComputerID": "7"}')

    def test_keep_the_text_of_json_when_it_is_indented(self):
        body = '{"b": [], "ToComputerID":"7", "n": 12345678901234567890.10, "b":{"x":"a,{}[]:\\"" , "y" :[1,{}]}}'
        self.service.request("POST", ROOT + POLL, body)
        self.page.open("#requests")
        self.latest(POLL)
        shown = self.page.run("return document.querySelector('#request-content section .body').textContent")
        self.assertEqual("".join(shown.split()), "".join(body.split()))
        self.assertIn('\n  "n": 12345678901234567890.10,\n  "b": {\n    "x": "a,{}[]:\\"",\n    "y": [\n      1,\n      {}\n    ]', shown)

    def test_are_found_by_what_is_in_their_bodies(self):
        self.service.operation("MAC/ErrorLog.svc/LogError", ErrorMessage="the Needle is here")
        for _ in range(3):
            self.service.operation(POLL, ToComputerID="7")
        self.page.open("#requests")
        self.page.wait_rows("requests-table", lambda rows: len(rows) == 4, "four requests")
        self.page.fill("#search", "nEEdle")
        self.page.wait_rows("requests-table", lambda rows: [row[1] for row in rows] == ["MAC/ErrorLog.svc/LogError"], "one request")
        self.page.wait_text("#requests-about", "1 of the last 1,000 found")
        self.service.operation("MAC/ErrorLog.svc/LogError", ErrorMessage="another needle")
        self.page.wait_rows("requests-table", lambda rows: len(rows) == 2, "two requests")
        self.page.fill("#search", "no such text")
        self.page.wait_text("#requests-empty", "No request has this text.")
        self.page.fill("#search", "")
        self.page.wait_rows("requests-table", lambda rows: len(rows) == 5, "all requests")

    def test_are_copied_as_commands_that_repeat_them(self):
        self.page.cdp("Browser.grantPermissions", origin=self.service.address,
                      permissions=["clipboardReadWrite", "clipboardSanitizedWrite"])
        self.service.put("7", "it's.txt")
        self.service.operation(POLL, ToComputerID="7")
        self.page.open("#requests")
        self.latest(POLL)
        clipboard = {}
        for label in ("curl", "quenmark call"):
            self.page.click(f"button[aria-label='Copy as {label}']")
            self.page.wait_text("#toast", f"Copied as {label}.")
            clipboard[label] = self.page.driver.execute_async_script("navigator.clipboard.readText().then(arguments[0])")
        self.assertTrue(clipboard["curl"].startswith("curl "), clipboard)
        repeated = subprocess.run(["bash", "-c", clipboard["curl"]], capture_output=True, timeout=30, check=True).stdout
        self.assertIn('"FileName":"\\\\it\'s.txt"', repeated.decode())
        self.assertRegex(clipboard["quenmark call"], r"quenmark call \S*GetTopFileUpload ToComputerID='?7'?$")

    def test_stand_still_while_they_are_paused(self):
        self.page.open("#requests")
        self.service.operation(POLL, ToComputerID="1")
        self.page.wait_rows("requests-table", lambda rows: len(rows) == 1, "one request")
        self.page.button("Pause")
        for _ in range(3):
            self.service.operation(POLL, ToComputerID="2")
        self.page.wait_text("#requests-about", "3 new ones not shown")
        self.assertEqual([row[2] for row in self.page.rows("requests-table")], ["1"])
        self.page.button("Resume")
        self.page.wait_rows("requests-table", lambda rows: [row[2] for row in rows] == ["2", "2", "2", "1"], "all requests")

    def test_are_forgotten(self):
        self.service.operation(POLL, ToComputerID="1")
        self.page.open("#requests")
        self.page.wait_rows("requests-table", lambda rows: len(rows) == 1, "one request")
        self.page.button("Forget all…")
        self.page.button("Cancel", "#confirm")
        self.assertEqual(len(self.service.api("/api/requests")["requests"]), 1)
        self.page.button("Forget all…")
        self.page.button("Forget all", "#confirm")
        self.page.wait_text("#requests-empty", "No requests yet.")
        self.assertEqual(self.service.api("/api/requests")["requests"], [])

    def test_of_the_page_are_those_that_change_something(self):
        for number in range(101):
            self.service.put(f"{number:03}", "a.txt")
        self.service.api("/api/requests", "DELETE")
        for view in ("queues", "queues/100", "faults", "users", "computers", "files", "mails", "errors", "requests"):
            self.page.open(f"#{view}")
        self.page.go("#faults")
        self.page.button("Apply")
        self.page.wait_text("#toast", "0 faults are in force.")
        self.page.go("#queues/100")  # on the second page of computers, so that its numbers are asked for
        self.page.wait_text("#count-pending", "1")
        with tempfile.NamedTemporaryFile(suffix=".txt") as file:
            self.page.find("#files-input").send_keys(file.name)
            self.page.wait_text("#uploads", "1 item added")
        self.page.wait_text("#count-pending", "2")
        noted = self.service.api("/api/requests")["requests"]
        self.assertEqual([(each["method"], each["path"].partition("tmp")[0]) for each in noted],
                         [("PUT", "/outbox/100/"), ("PUT", "/faults")])
        self.service.api("/api/requests", "DELETE")
        self.service.request("GET", "/faults")
        self.page.go("#requests")
        self.page.wait_rows("requests-table", lambda rows: [row[1] for row in rows] == ["GET /faults"], "a script's request")

    def test_say_which_fault_was_applied_and_that_a_response_was_cut(self):
        self.service.put("7", "a.bin", b"x" * 500000)
        self.service.request("PUT", "/faults", json.dumps({"faults": [
            {"computer": "9", "action": {"kind": "delay", "seconds": 1}},
            {"path": STREAM, "computer": "7", "action": {"kind": "close", "afterBytes": 1000}}]}))
        self.page.open("#requests")
        try:
            self.service.operation(STREAM, ToComputerID="7")
        except Exception:
            pass
        rows = self.page.wait_rows("requests-table", lambda rows: rows and STREAM in rows[0][1], "the download")
        self.assertRegex(rows[0][1], r"fault 1\s+incomplete$")

    def test_say_where_a_body_is_no_text(self):
        self.service.request("PUT", "/outbox/7/a.bin", b"\xff\xfe\x00\x80")
        self.page.open("#requests")
        self.latest("/outbox/7/a.bin")
        self.page.wait_text("#request-content", "Body of 4 B, which is no")

    def test_say_that_a_request_is_no_longer_kept(self):
        self.page.open("#requests/987654")
        self.page.wait_text("#request-content", "This request is no longer kept.")

    def test_are_a_thousand_at_the_most(self):
        connection = self.service.connect()
        for number in range(1050):
            self.service.request("GET", f"/status?computer={number}", connection=connection)
        connection.close()
        self.page.open("#requests")
        self.page.wait_text("#requests-about", "the last 1,000")
        rows = self.page.wait_rows("requests-table", lambda rows: len(rows) == 100, "a page of requests")
        self.assertEqual(rows[0][1], "GET /status?computer=1049")
        for page in range(2, 11):
            self.page.button("Next", "#requests-pager")
            self.page.wait_text("#requests-pager", f"Page {page}")
        self.assertEqual(self.page.rows("requests-table")[-1][1], "GET /status?computer=50")
        self.assertTrue(self.page.run("return document.querySelectorAll('#requests-pager button')[1].disabled"))


if __name__ == "__main__":
    main()
