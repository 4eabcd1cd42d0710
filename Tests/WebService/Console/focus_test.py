#!/usr/bin/python3
"""Where the focus of the console is while what it shows changes, in a real browser.

    focus_test.py SERVICE [TEST...]
"""

import json

from selenium.webdriver.common.keys import Keys

from console_page import POLL, ConsoleTest, main, wait


class TheFocus(ConsoleTest):
    def focus(self, selector):
        self.page.run("document.querySelector(arguments[0]).focus()", selector)

    def wait_focused(self, description):
        wait(lambda: description in self.page.focused(), lambda: f"{description} has the focus: {self.page.focused()}")

    def error(self, computer):
        self.service.operation("MAC/ErrorLog.svc/LogError", ErrorMessage="x", ComputerID=computer)

    def test_stays_on_a_link_when_rows_come_above_it(self):
        self.error("first")
        self.page.open("#errors")
        self.page.wait_rows("records-table", lambda rows: len(rows) == 1, "an error")
        self.focus("#records-table a")
        self.error("second")
        self.page.wait_rows("records-table", lambda rows: [row[1] for row in rows] == ["second", "first"], "two errors")
        self.assertEqual(self.page.focused(), "A  first")

    def test_stays_on_a_link_whose_row_moves(self):
        self.service.put("1x", "a.txt")
        self.service.put("2", "a.txt")
        self.page.open("#queues")
        self.page.wait_rows("queues-table", lambda rows: [row[0] for row in rows] == ["1x", "2"], "two computers")
        self.focus("#queues-table tr:nth-child(2) a")
        self.service.operation("Registration.svc/VerifyAndRegisterUserFromTool", MailID="ann@example.org", Password="a")
        self.service.operation("Registration.svc/RegisterComputer", UserID="1", QuenmarkPath="home")
        self.page.wait_rows("queues-table", lambda rows: [row[0].split()[0] for row in rows] == ["2", "1x"], "they change places")
        self.assertEqual(self.page.focused(), "A  2")

    def test_goes_on_to_the_button_that_replaces_the_one_that_was_pressed(self):
        self.service.put("7", "a.txt")
        self.page.open("#queues/7")
        self.page.click("#item-states input[value=''] + span")
        self.page.wait_rows("items-table", lambda rows: len(rows) == 1, "an item")
        self.focus("#items-table button")
        self.page.press(Keys.ENTER)
        self.wait_focused("confirm-no")
        self.page.press(Keys.TAB, Keys.ENTER)
        self.page.wait_rows("items-table", lambda rows: rows[0][2] == "Withdrawn", "the item is withdrawn")
        self.wait_focused("Offer again")

    def test_goes_back_from_the_last_page_to_the_button_that_leads_back(self):
        for number in range(101):
            self.error(str(number))
        self.page.open("#errors")
        self.page.wait_rows("records-table", lambda rows: len(rows) == 100, "a page")
        self.focus("#records-pager button:last-child")
        self.page.press(Keys.ENTER)
        self.page.wait_rows("records-table", lambda rows: len(rows) == 1, "the last page")
        self.wait_focused("Previous")
        self.page.press(Keys.ENTER)
        self.page.wait_rows("records-table", lambda rows: len(rows) == 100, "the first page")
        self.wait_focused("Next")

    def test_is_on_the_heading_once_a_queue_is_empty(self):
        self.service.put("7", "a.txt")
        self.page.open("#queues/7")
        self.page.wait_rows("items-table", lambda rows: len(rows) == 1, "an item")
        self.focus("#clear-queue")
        self.page.press(Keys.ENTER)
        self.wait_focused("confirm-no")
        self.page.press(Keys.TAB, Keys.ENTER)
        self.page.wait_text("#items-empty", "Nothing is pending.")
        self.wait_focused("queue-heading")

    def test_is_in_the_plan_once_there_is_nothing_to_clear_or_to_revert(self):
        plan = {"faults": [{"action": {"kind": "delay", "seconds": 1}}]}
        self.service.request("PUT", "/faults", json.dumps(plan))
        self.page.open("#faults")
        self.page.wait_rows("faults-table", lambda rows: len(rows) == 1, "a fault")
        self.page.fill("#plan", "other")
        self.focus("#revert-plan")
        self.page.press(Keys.ENTER)
        self.wait_focused("TEXTAREA plan")
        self.focus("#clear-plan")
        self.page.press(Keys.ENTER)
        self.wait_focused("confirm-no")
        self.page.press(Keys.TAB, Keys.ENTER)
        self.page.wait_text("#faults-empty", "No fault is in force")
        self.wait_focused("TEXTAREA plan")

    def test_is_on_the_content_once_a_message_that_had_it_has_gone(self):
        self.page.open("#queues")
        self.stop_service()
        self.page.wait_text("#banner", "The connection to the service is lost.")
        self.focus("#banner-button")
        self.service.start()
        self.page.wait_live()
        self.wait_focused("MAIN main")

    def test_does_not_leave_the_search_while_requests_arrive(self):
        self.page.open("#requests")
        self.page.press("/")
        self.wait_focused("INPUT search")
        for computer in ("7", "8"):
            self.service.operation(POLL, ToComputerID=computer)
        self.page.wait_rows("requests-table", lambda rows: len(rows) == 2, "two requests")
        self.wait_focused("INPUT search")


if __name__ == "__main__":
    main()
