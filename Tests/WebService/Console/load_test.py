#!/usr/bin/python3
"""The console under load: a thousand items, and a hundred thousand requests while somebody uses it.

    load_test.py SERVICE [TEST...]

CONSOLE_REQUESTS is the number of requests (100000). The service may be an optimised one or one under sanitizers; what is
measured here is the page.
"""

import os
import socket
import threading
import time

from console_page import ConsoleTest, main, wait

REQUESTS = int(os.environ.get("CONSOLE_REQUESTS", "100000"))
BATCH = 100


def send_requests(port, number):
    """Sends many cheap requests, a batch at a time on one connection, and reads the responses."""
    request = b"GET /nothing HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n"
    with socket.create_connection(("127.0.0.1", port), 60) as connection:
        left = number
        while left > 0:
            size = min(BATCH, left)
            connection.sendall(request * size)
            seen = 0
            tail = b""
            while seen < size:
                data = connection.recv(1 << 16)
                assert data, "the service has closed the connection"
                tail += data
                seen += tail.count(b"HTTP/1.1 ")
                tail = tail[-8:] if not tail.endswith(b"HTTP/1.1 ") else b""
            left -= size


class TheConsole(ConsoleTest):
    def observe_clicks(self):
        """Has the browser note how long each click takes, from the mouse to the frame that shows it (W3C Event Timing)."""
        self.page.run("""
            window.clicks = [];
            new PerformanceObserver((list) => clicks.push(...list.getEntries().filter((each) => each.name === 'click')
                .map((each) => each.duration))).observe({ type: 'event', durationThreshold: 16 });
        """)

    def print_longest_click(self, number):
        """In milliseconds; the browser notes none below 16."""
        longest = max(self.page.run("return clicks"), default=0)
        print(f"{number} clicks, the longest {longest:.0f} ms", flush=True)

    def heap(self):
        """Bytes of script objects and number of nodes, after a collection."""
        self.page.cdp("HeapProfiler.enable")
        self.page.cdp("HeapProfiler.collectGarbage")
        self.page.cdp("Performance.enable")
        metrics = {each["name"]: each["value"] for each in self.page.cdp("Performance.getMetrics")["metrics"]}
        return metrics["JSHeapUsedSize"], metrics["Nodes"]

    def test_shows_a_thousand_items_in_pages(self):
        folder = os.path.join(self.service.folder, "outbox", "7")
        os.makedirs(folder, exist_ok=True)
        for number in range(1000):
            with open(os.path.join(folder, f"{number:04}.txt"), "wb") as file:
                file.write(b"x")
        wait(lambda: self.service.api("/status?computer=7")["pending"] == 1000, "a thousand items")
        self.page.open("#queues/7")
        self.page.wait_text("#count-pending", "1,000")
        self.assertEqual(len(self.page.wait_rows("items-table", lambda rows: len(rows) == 100, "a page of items")), 100)
        self.observe_clicks()
        for page in range(2, 11):
            self.page.click("#items-pager button:last-child")
            self.page.wait_text("#items-pager", f"Page {page}")
        self.page.wait_rows("items-table", lambda rows: len(rows) == 100, "the last page")
        self.page.click("#clear-queue")
        self.page.button("Clear queue", "#confirm")
        self.page.wait_text("#count-withdrawn", "1,000")
        self.print_longest_click(9)

    def test_answers_clicks_during_a_hundred_thousand_requests(self):
        for name in ("a.txt", "b.txt"):
            self.service.put("7", name)
        self.page.open("#requests")
        self.page.wait_rows("requests-table", lambda rows: len(rows) == 2, "the first requests")
        heap, nodes = self.heap()
        failures = []

        def send():
            try:
                send_requests(self.service.port, REQUESTS)
            except Exception as error:
                failures.append(error)

        sender = threading.Thread(target=send)
        begin = time.monotonic()
        sender.start()
        clicks = 0
        self.observe_clicks()
        while sender.is_alive() or clicks < 8:
            for view, shown in (("queues", "#items-table"), ("requests", "#requests-table"), ("faults", "#plan")):
                self.page.click(f".views a[href='#{view}']")
                wait(lambda: self.page.find(shown).is_displayed(), f"{shown} is shown")
                clicks += 1
        sender.join()
        seconds = time.monotonic() - begin
        self.assertEqual(failures, [])
        self.page.go("#requests")
        self.page.wait_text("#requests-about", "the last 1,000")
        latest = self.service.api("/api/requests?limit=1")["requests"][0]["id"]
        self.assertGreaterEqual(latest, REQUESTS)
        self.page.wait_rows("requests-table", lambda rows: len(rows) == 100 and rows[-1][1] == "GET /nothing", "the last requests")
        wait(lambda: self.page.run("return document.querySelector('#requests-table a').hash") == f"#requests/{latest}", "the latest request")
        grown, more = self.heap()
        print(f"{REQUESTS} requests in {seconds:.0f} s; script heap {heap / 1e6:.1f} MB before, {grown / 1e6:.1f} MB after, "
              f"nodes {nodes:.0f} and {more:.0f}", flush=True)
        self.print_longest_click(clicks)
        self.assertLess(grown, heap + 20e6)
        self.assertLess(more, 20000)


if __name__ == "__main__":
    main()
