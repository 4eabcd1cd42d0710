#!/usr/bin/python3
"""The tables of the state in the console, and resetting it, in a real browser.

    tables_test.py SERVICE [TEST...]
"""

import json
import os

from console_page import ConsoleTest, main, wait


class TheTables(ConsoleTest):
    def perform(self, name, **members):
        answer = json.loads(self.service.operation(name, **members))
        self.assertEqual(answer["ReturnStatus"], "0", answer)
        return answer

    def register(self):
        """Ann, with two computers besides her cloud, of which the first has a file that is shared with the second."""
        user = self.perform("Registration.svc/VerifyAndRegisterUserFromTool", MailID="ann@example.org", Password="secret",
                            FirstName="Ann", LastName="Lee", NickName="annie")["UserID"]
        first, second = (self.perform("Registration.svc/RegisterComputer", UserID=user, QuenmarkPath=path)["ComputerID"]
                         for path in ("Users\\ann", "home\\ann"))
        file = self.perform("SyncFileChanges.svc/InsertFile", ComputerID=first, FullPath="Users\\ann\\<b>a</b>.txt")["FileID"]
        self.perform("MAC/SharedFiles.svc/UploadFileWithStream", ComputerID=first, FullPathFromFileTable="Users\\ann\\<b>a</b>.txt")
        self.perform("SyncFileChanges.svc/InsertSharedFilesTransfer", FileID=file, ComputerID=first, UserComputerID=second)
        return user, first, second

    def expect_row(self, table, *values):
        """There is a row with these values among its cells."""
        self.page.go(f"#{table}")
        self.page.wait_rows("records-table", lambda rows: any(set(values) <= set(row) for row in rows), f"{values}")

    def columns(self):
        return self.page.run("return [...document.querySelectorAll('#records-table th')].map((each) => each.textContent)")

    def test_show_users_computers_files_requests_and_transfers(self):
        _, first, second = self.register()
        self.page.open("#users")
        self.expect_row("users", "ann@example.org", "Ann", "Lee", "annie", "No")
        self.expect_row("computers", first, "ann@example.org", "Users\\ann")
        self.expect_row("files", first, "Users\\ann\\<b>a</b>.txt", "File", "Yes")
        self.expect_row("file-requests", first, "waiting", "Yes")
        self.assertEqual(self.columns(), ["Id", "File", "Computer", "From shared", "State", "Position"])
        self.expect_row("transfers", first, second, "Users\\ann\\<b>a</b>.txt", "waiting")
        self.page.click("#records-table tbody a")
        self.page.wait_text("#queue-heading", f"Computer {first}")

    def test_change_as_the_state_does(self):
        self.page.open("#users")
        self.page.wait_text("#records-empty", "No user has registered yet.")
        self.register()
        self.page.wait_text("#records-table", "ann@example.org")
        self.page.go("#errors")
        self.page.wait_text("#records-empty", "No error was reported yet.")
        self.perform("MAC/ErrorLog.svc/LogError", ErrorClass="Engine", ErrorMethod="poll", ErrorMessage="disk full", ComputerID="7")
        rows = self.page.wait_rows("records-table", len, "an error")
        self.assertEqual(rows[0][1:], ["7", "", "Engine", "poll", "disk full"])

    def test_are_marked_where_something_new_is_in_one_that_is_not_shown(self):
        self.page.open("#queues")
        self.perform("MAC/ErrorLog.svc/LogError", ErrorMessage="disk full")
        wait(lambda: self.page.run("return document.querySelector('[href=\"#errors\"]').className") == "news", "a mark")
        self.page.click("[href='#errors']")
        self.page.wait_text("#records-table", "disk full")
        self.assertEqual(self.page.run("return document.querySelector('[href=\"#errors\"]').className"), "")

    def test_begin_with_the_latest_mail_and_the_latest_error(self):
        self.register()
        for _ in range(2):
            self.perform("Registration.svc/SendPasswordToMailID", MailID="ann@example.org")
        self.page.open("#mails")
        rows = self.page.wait_rows("records-table", lambda rows: len(rows) == 2, "two mails")
        mails = self.service.api("/api/mails")["mails"]
        self.assertEqual([row[3] for row in rows], [mails[1]["body"], mails[0]["body"]])
        self.page.wait_text("#records-about", "2 entries, the newest first")
        for number in range(101):
            self.perform("MAC/ErrorLog.svc/LogError", ErrorMessage=f"error {number}")
        self.page.go("#errors")
        self.page.wait_rows("records-table", lambda rows: len(rows) == 100 and rows[0][5] == "error 100", "the latest error")
        self.perform("MAC/ErrorLog.svc/LogError", ErrorMessage="one more")
        self.page.wait_rows("records-table", lambda rows: rows[0][5] == "one more", "the latest error")
        self.page.button("Next", "#records-pager")
        self.page.wait_rows("records-table", lambda rows: [row[5] for row in rows] == ["error 1", "error 0"], "the first errors")

    def test_have_a_link_that_activates_a_user_in_the_mail(self):
        user, _, _ = self.register()
        self.perform("Registration.svc/SendActivationMail", MailID="ann@example.org", UserID=user)
        self.page.open("#mails")
        self.page.wait_text("#records-table", "ann@example.org")
        self.page.click("#records-table a[href*='/activate?code=']")
        wait(lambda: self.service.api("/api/users")["users"][0]["activated"], "the user is activated")
        for handle in self.page.driver.window_handles[1:]:
            self.page.driver.switch_to.window(handle)
            self.page.driver.close()
        self.page.driver.switch_to.window(self.page.driver.window_handles[0])

    def test_show_the_files_of_one_computer(self):
        _, first, second = self.register()
        self.perform("SyncFileChanges.svc/InsertFile", ComputerID=second, FullPath="home\\ann\\b.txt")
        self.page.open("#files")
        self.page.wait_rows("records-table", lambda rows: len(rows) == 2, "two files")
        self.page.fill("#records-computer", second)
        self.page.wait_rows("records-table", lambda rows: [row[2] for row in rows] == ["home\\ann\\b.txt"], "one file")
        self.page.fill("#records-computer", "")
        self.page.wait_rows("records-table", lambda rows: len(rows) == 2, "two files")

    def test_have_pages(self):
        _, first, _ = self.register()
        for number in range(150):
            self.perform("SyncFileChanges.svc/InsertFile", ComputerID=first, FullPath=f"Users\\ann\\{number}.txt")
        self.page.open("#files")
        self.page.wait_rows("records-table", lambda rows: len(rows) == 100, "a page")
        self.page.button("Next", "#records-pager")
        rows = self.page.wait_rows("records-table", lambda rows: len(rows) == 51, "the second page")
        self.assertEqual(rows[-1][2], "Users\\ann\\149.txt")
        self.page.button("Previous", "#records-pager")
        self.page.wait_rows("records-table", lambda rows: len(rows) == 100, "the first page")

    def test_are_emptied_by_a_reset_that_was_confirmed(self):
        self.register()
        self.service.put("7", "a.txt")
        self.service.request("PUT", "/faults", '{"faults": [{"path": "X", "action": {"kind": "delay", "seconds": 1}}]}')
        self.page.open("#users")
        self.page.wait_text("#records-table", "ann@example.org")
        self.page.click("#reset")
        self.page.wait_text("#confirm", "This cannot be undone.")
        self.page.button("Cancel", "#confirm")
        self.assertEqual(len(self.service.api("/api/users")["users"]), 1)
        self.page.click("#reset")
        self.page.button("Reset everything", "#confirm")
        self.page.wait_text("#toast", "Everything was reset.")
        self.page.wait_text("#records-empty", "No user has registered yet.")
        for path, name in (("users", "users"), ("computers", "computers"), ("items", "items"), ("requests", "requests")):
            self.assertEqual(self.service.api(f"/api/{path}")[name], [])
        self.assertEqual(self.service.api("/faults")["faults"], [])
        self.assertFalse(os.path.exists(os.path.join(self.service.folder, "outbox/7/a.txt")))
        for view, text in (("queues", "No computer has a queue yet."), ("requests", ""), ("faults", "No fault is in force")):
            self.page.go(f"#{view}")
            if text:
                self.page.wait_text(f"#{view}-empty", text)


if __name__ == "__main__":
    main()
