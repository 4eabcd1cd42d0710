#!/usr/bin/python3
"""How the console shows what went wrong, and how it recovers, in a real browser.

    failures_test.py SERVICE [TEST...]
"""

import json
import os
import tempfile

from selenium.webdriver.common.keys import Keys

from console_page import ConsoleTest, main, wait

HOSTILE = "<img src=x onerror=seen.push('markup')>"


class AFailure(ConsoleTest):
    def refuse_an_offer(self):
        """Has an action refused."""
        self.service.put("7", "a.txt")
        self.service.acknowledge("7")
        os.remove(os.path.join(self.service.folder, "outbox/7/a.txt"))
        self.page.open("#queues/7")
        self.page.click("#item-states input[value='acknowledged'] + span")
        self.page.button("Offer again", "#items-table")
        wait(lambda: self.page.text("#problem-text"), "an error")

    def test_of_an_action_is_shown_and_read_out_until_it_is_closed(self):
        self.refuse_an_offer()
        self.assertEqual(self.page.find("#problem-text").get_attribute("role"), "alert")
        said = self.page.text("#problem-text")
        self.service.put("7", "b.txt")
        self.page.click("#item-states input[value='pending'] + span")
        self.page.button("Withdraw", "#items-table")
        self.page.button("Withdraw", "#confirm")
        self.page.wait_text("#toast", "b.txt was withdrawn.")
        self.assertEqual(self.page.text("#problem-text"), said)
        self.page.click("#problem-close")
        self.assertEqual(self.page.text("#problem"), "")
        self.assertIn("MAIN main", self.page.focused())

    def test_is_closed_by_the_keyboard(self):
        self.refuse_an_offer()
        self.page.press(Keys.ESCAPE)
        wait(lambda: not self.page.text("#problem"), "the message is closed")

    def test_of_the_connection_is_told_to_who_does_something_meanwhile(self):
        self.service.put("7", "a.txt")
        self.page.open("#queues/7")
        self.page.wait_rows("items-table", lambda rows: len(rows) == 1, "an item")
        self.stop_service()
        self.page.wait_text("#banner", "The connection to the service is lost.")
        self.page.button("Withdraw", "#items-table")
        self.page.button("Withdraw", "#confirm")
        self.page.wait_text("#problem", "The service did not respond.")
        self.service.start()
        self.page.wait_live()
        self.assertEqual(self.service.api("/status?computer=7")["pending"], 1)

    def test_of_the_connection_ends_with_the_state_that_there_is_then(self):
        self.service.request("PUT", "/faults", json.dumps({"faults": [{"action": {"kind": "delay", "seconds": 1}}]}))
        self.page.open("#faults")
        self.page.wait_rows("faults-table", lambda rows: len(rows) == 1, "a fault")
        self.stop_service()
        self.page.wait_text("#connection", "Not connected")
        self.service.start()
        self.page.wait_live()
        self.page.wait_text("#faults-empty", "No fault is in force")
        self.assertEqual(self.page.text("#banner"), "")

    def test_to_match_the_service_is_shown_with_a_way_to_load_the_page_anew(self):
        self.page.open("#queues")
        self.page.run("""
            window.old = true;
            const real = fetch;
            window.fetch = (path, options) => path !== '/' ? real(path, options)
                : real(path, options).then((page) => page.text())
                    .then((text) => new Response(text.replaceAll(/[/]console[/][0-9a-f]+[/]/g, '/console/0123456789abcdef/')));
        """)
        self.stop_service()
        self.page.wait_text("#banner", "The connection to the service is lost.")
        self.service.start()
        self.page.wait_text("#banner", "The service is another version now")
        self.page.click("#banner-button")
        wait(lambda: not self.page.run("return window.old"), "the page is loaded anew")
        self.page.wait_live()
        self.assertEqual(self.page.text("#banner"), "")

    def test_to_load_the_scripts_is_said_by_the_page(self):
        self.page.cdp("Network.enable")
        self.page.cdp("Network.setBlockedURLs", urls=["*/main.js"])
        try:
            self.page.driver.get(f"{self.service.address}/?blocked")
            self.page.wait_text("#starting", "The page is loading. Reload it if this does not change.")
        finally:
            self.page.cdp("Network.setBlockedURLs", urls=[])
        self.page.open("#queues")
        self.assertEqual(self.page.text("#starting"), "")

    def test_shows_hostile_texts_harmlessly(self):
        self.service.put("7", HOSTILE)
        self.service.operation("Registration.svc/VerifyAndRegisterUserFromTool", MailID=f"{HOSTILE}@example.org", Password="a")
        self.service.operation("Registration.svc/SendPasswordToMailID", MailID=f"{HOSTILE}@example.org")
        self.page.open("#mails")
        self.page.wait_text("#records-table", HOSTILE)
        self.page.go("#queues/7")
        self.page.button("Withdraw", "#items-table")
        self.page.wait_text("#confirm", f"Withdraw {HOSTILE}?")
        self.page.button("Withdraw", "#confirm")
        self.page.wait_text("#toast", f"{HOSTILE} was withdrawn.")
        with tempfile.TemporaryDirectory() as folder:
            path = os.path.join(folder, HOSTILE + "\\")
            with open(path, "wb"):
                pass
            self.page.drop("#drop", [path])
            self.page.wait_text("#uploads ul.errors", HOSTILE)
        self.page.go("#faults")
        self.page.fill("#plan", json.dumps({"faults": [], HOSTILE: 1}))
        self.page.button("Apply")
        self.page.wait_text("#plan-error", HOSTILE)
        self.assertEqual(self.page.run("return document.querySelectorAll('main img, dialog img, .toasts img').length"), 0)
        self.assertEqual(self.page.run("return seen"), [])


if __name__ == "__main__":
    main()
