#!/usr/bin/python3
"""What the console shows of queues and does with them, in a real browser.

    queues_test.py SERVICE [TEST...]
"""

import json
import os
import socket
import tempfile
import threading

from console_page import POLL, ROOT, STREAM, ConsoleTest, main, wait


def names(rows):
    return [row[0].split()[-1] for row in rows]


class TheQueues(ConsoleTest):
    def setUp(self):
        super().setUp()
        scratch = tempfile.TemporaryDirectory(prefix="console-drop-")
        self.addCleanup(scratch.cleanup)
        self.scratch = scratch.name

    def on_disk(self, computer, path):
        return os.path.join(self.service.folder, "outbox", computer, path)

    def file(self, path, content=b"content"):
        path = os.path.join(self.scratch, path)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "wb") as file:
            file.write(content)
        return path

    def show(self, state):
        self.page.click(f"#item-states input[value='{state}'] + span")

    def test_show_each_computer_with_the_length_of_its_queue_as_it_changes(self):
        self.page.open("#queues")
        self.page.wait_text("#queues-empty", "No computer has a queue yet")
        self.service.put("7", "a.txt")
        self.service.put("7", "b.txt")
        self.page.wait_rows("queues-table", lambda rows: rows == [["7", "2", "0"]], "two items")
        self.service.acknowledge("7")
        self.service.put("8", "c.txt")
        self.page.wait_rows("queues-table", lambda rows: rows == [["7", "1", "1"], ["8", "1", "0"]], "two computers")

    def test_show_the_items_of_a_computer_by_state_as_they_change(self):
        self.page.open("#queues/7")
        self.page.wait_text("#items-empty", "Nothing is pending.")
        self.service.put("7", "Docs/")
        self.service.put("7", "Docs/a.txt", b"x" * 2048)
        rows = self.page.wait_rows("items-table", lambda rows: len(rows) == 2, "two items")
        self.assertEqual(rows[0][1:3], ["", "Pending"])
        self.assertEqual(rows[1][1:3], ["2.0 KiB", "Pending"])
        self.assertEqual(names(rows), ["\\Docs", "\\Docs\\a.txt"])
        self.service.acknowledge("7")
        self.page.wait_rows("items-table", lambda rows: names(rows) == ["\\Docs\\a.txt"], "the folder has gone")
        self.show("acknowledged")
        self.page.wait_rows("items-table", lambda rows: names(rows) == ["\\Docs"], "the folder")
        self.show("")
        rows = self.page.wait_rows("items-table", lambda rows: len(rows) == 2, "all items")
        self.assertEqual([row[2] for row in rows], ["Acknowledged", "Pending"])
        self.page.wait_text("#count-acknowledged", "1")

    def test_show_a_download_with_its_bytes_its_rate_and_a_progress_bar(self):
        self.service.put("7", "film.bin", b"x" * 3000000)
        self.service.request("PUT", "/faults", json.dumps({"faults": [
            {"path": STREAM, "action": {"kind": "throttle", "bytesPerSecond": 500000}}]}))
        self.page.open("#queues/7")
        self.service.operation(POLL, ToComputerID="7")
        client = socket.create_connection(("127.0.0.1", self.service.port), 30)
        body = b'{"ToComputerID":"7"}'
        client.sendall(b"POST %s HTTP/1.1\r\nHost: 127.0.0.1\r\nContent-Length: %d\r\n\r\n%s"
                       % ((ROOT + STREAM).encode(), len(body), body))
        reader = threading.Thread(target=lambda: [None for _ in iter(lambda: client.recv(65536), b"")])
        reader.start()
        self.page.wait_rows("items-table", lambda rows: "Streaming" in rows[0][2] and "KiB/s" in rows[0][2], "a rate")
        text = self.page.rows("items-table")[0][2]
        self.assertRegex(text, r"^Streaming\s+[\d.]+ (B|KiB|MiB) of 2\.9 MiB · [\d.]+ KiB/s$")
        bar = "const bar = document.querySelector('#items-table progress'); return bar ? [bar.value, bar.max] : [0, 0]"
        wait(lambda: self.page.run(bar)[0] > 600000, "the bar moves")
        self.assertEqual(self.page.run(bar)[1], 3000000)
        self.assertEqual(self.page.run("return document.querySelectorAll('#queues-table .flow').length"), 1)
        client.shutdown(socket.SHUT_RDWR)
        reader.join()
        client.close()
        self.page.wait_rows("items-table", lambda rows: rows[0][2] == "Pending", "the download is over")

    def test_withdraw_an_item(self):
        self.service.put("7", "a.txt")
        self.service.put("7", "b.txt")
        self.page.open("#queues/7")
        self.page.click("#items-table tbody tr:first-child button")
        self.page.wait_text("#confirm", "The file is removed from the outbox.")
        self.page.button("Cancel", "#confirm")
        self.assertEqual(self.service.api("/status?computer=7")["pending"], 2)
        self.page.click("#items-table tbody tr:first-child button")
        self.page.button("Withdraw", "#confirm")
        self.page.wait_rows("items-table", lambda rows: names(rows) == ["\\b.txt"], "the item has gone")
        self.page.wait_text("#toast", "a.txt was withdrawn.")
        self.assertFalse(os.path.exists(self.on_disk("7", "a.txt")))
        self.show("withdrawn")
        self.page.wait_rows("items-table", lambda rows: names(rows) == ["\\a.txt"], "the item is withdrawn")

    def test_offer_an_acknowledged_item_again(self):
        self.service.put("7", "a.txt", b"again")
        first = self.service.acknowledge("7")
        self.page.open("#queues/7")
        self.show("acknowledged")
        self.page.button("Offer again", "#items-table")
        self.page.wait_text("#toast", "a.txt is offered again.")
        self.page.wait_text("#count-pending", "1")
        second = json.loads(self.service.operation(POLL, ToComputerID="7"))
        self.assertEqual(second["FileName"], "\\a.txt")
        self.assertNotEqual(second["FileUploadID"], first["FileUploadID"])

    def test_say_that_an_item_without_content_cannot_be_offered_again(self):
        self.service.put("7", "a.txt")
        self.service.acknowledge("7")
        os.remove(self.on_disk("7", "a.txt"))
        self.page.open("#queues/7")
        self.show("acknowledged")
        self.page.button("Offer again", "#items-table")
        wait(lambda: self.page.text("#problem"), "an error")
        self.assertEqual(self.page.text("#toast"), "")
        self.assertEqual(self.service.api("/status?computer=7")["pending"], 0)

    def test_clear_a_queue_after_a_confirmation(self):
        for name in ("a.txt", "b.txt", "c.txt"):
            self.service.put("7", name)
        self.page.open("#queues/7")
        self.page.click("#clear-queue")
        self.page.button("Cancel", "#confirm")
        self.assertEqual(self.service.api("/status?computer=7")["pending"], 3)
        self.page.click("#clear-queue")
        self.page.button("Clear queue", "#confirm")
        self.page.wait_text("#toast", "3 items were withdrawn.")
        self.page.wait_text("#items-empty", "Nothing is pending.")
        self.assertEqual(self.service.api("/status?computer=7"), {"pending": 0, "acknowledged": 0, "withdrawn": 3})

    def test_take_a_dropped_folder_each_folder_before_what_is_in_it(self):
        content = os.urandom(300000)
        self.file("Album/one.jpg", content)
        self.file("Album/Summer days/two & three.jpg", b"23")
        os.makedirs(os.path.join(self.scratch, "Album/Empty"))
        for number in range(101):  # more than the browser lists at once
            self.file(f"Album/Many/{number}.txt", str(number).encode())
        self.page.open("#queues/7")
        self.page.drop("#drop", [os.path.join(self.scratch, "Album"), self.file("loose.txt", b"loose")])
        self.page.wait_text("#uploads", "108 items added to computer 7.")
        items = self.service.api("/api/items?computer=7&limit=1000")["items"]
        found = [item["name"] for item in items]
        self.assertEqual(len(found), 108)
        for name in found:
            parent = name.rpartition("\\")[0]
            if parent:
                self.assertLess(found.index(parent), found.index(name))
        self.assertEqual([item["name"] for item in items if not item["isFile"]].count("\\Album\\Empty"), 1)
        self.assertIn("\\Album\\Summer days\\two & three.jpg", found)
        with open(self.on_disk("7", "Album/one.jpg"), "rb") as file:
            self.assertEqual(file.read(), content)

    def test_take_a_file_that_is_dropped_onto_a_computer_of_the_list(self):
        self.service.put("7", "a.txt")
        self.service.put("8", "a.txt")
        self.page.open("#queues/7")
        self.page.wait_rows("queues-table", lambda rows: len(rows) == 2, "two computers")
        self.page.drop("#queues-table tbody tr:nth-child(2)", [self.file("for 8.txt")])
        self.page.wait_text("#uploads", "1 item added to computer 8.")
        self.assertTrue(os.path.exists(self.on_disk("8", "for 8.txt")))

    def test_stay_when_a_file_is_dropped_beside_a_queue(self):
        self.page.open("#queues/7")
        self.page.drop(".bar", [self.file("a.txt")])
        self.assertEqual(self.page.run("return location.pathname"), "/")
        self.assertEqual(self.service.api("/status")["pending"], 0)

    def test_take_files_and_a_folder_from_the_buttons(self):
        self.page.open("#queues/7")
        self.page.find("#files-input").send_keys(self.file("a.txt") + "\n" + self.file("b.txt"))
        self.page.wait_text("#uploads", "2 items added")
        self.file("Tree/deep/c.txt")
        self.page.find("#folder-input").send_keys(os.path.join(self.scratch, "Tree"))
        self.page.wait_text("#uploads", "3 items added")
        found = [item["name"] for item in self.service.api("/api/items?computer=7")["items"]]
        self.assertEqual(found[2:], ["\\Tree", "\\Tree\\deep", "\\Tree\\deep\\c.txt"])
        self.assertEqual(sorted(found[:2]), ["\\a.txt", "\\b.txt"])

    def test_name_each_file_that_is_refused_and_take_the_others(self):
        self.file("Mixed/good.txt")
        self.file("Mixed/back\\slash.txt")
        self.service.put("7", "Taken")  # a file where a folder is to be
        self.file("Taken/inside.txt")
        self.page.open("#queues/7")
        self.page.drop("#drop", [os.path.join(self.scratch, "Mixed"), os.path.join(self.scratch, "Taken")])
        self.page.wait_text("#uploads", "2 items added to computer 7, 2 errors.")
        errors = self.page.text("#uploads ul.errors")
        self.assertIn("Mixed/back\\slash.txt: ", errors)
        self.assertIn("Taken/: ", errors)
        found = [item["name"] for item in self.service.api("/api/items?computer=7")["items"]]
        self.assertEqual(found, ["\\Taken", "\\Mixed", "\\Mixed\\good.txt"])
        self.page.button("Dismiss")
        wait(lambda: not self.page.text("#uploads"), "the upload is dismissed")

    def test_show_the_progress_of_an_upload_and_cancel_it(self):
        self.page.open("#queues/7")
        self.page.cdp("Network.enable")
        self.page.cdp("Network.emulateNetworkConditions", offline=False, latency=0, downloadThroughput=-1,
                      uploadThroughput=300000)
        try:
            self.page.drop("#drop", [self.file("large.bin", b"x" * 8000000)])
            wait(lambda: self.page.run("return document.querySelector('.upload progress')?.value ?? 0") > 100000, "progress")
            self.assertRegex(self.page.text("#uploads .active"), r"^large\.bin \d+ %$")
            self.page.button("Cancel", "#uploads")
            self.page.wait_text("#uploads", "0 items added to computer 7, then cancelled.")
        finally:
            self.page.cdp("Network.emulateNetworkConditions", offline=False, latency=0, downloadThroughput=-1,
                          uploadThroughput=-1)
        self.assertEqual(self.service.api("/status")["pending"], 0)

    def test_open_the_queue_of_a_computer_that_has_none(self):
        self.page.open("#queues")
        self.page.fill("#open-computer", "a b/c")
        self.page.button("Open")
        self.page.wait_text("#queue-heading", "Computer a b/c")
        self.assertEqual(self.page.run("return location.hash"), "#queues/a%20b%2Fc")


if __name__ == "__main__":
    main()
