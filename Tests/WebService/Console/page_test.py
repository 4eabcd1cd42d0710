#!/usr/bin/python3
"""The console as a page: keyboard, narrow windows, colours, hostile texts, a lost connection, other sites.

    page_test.py SERVICE [TEST...]
"""

import http.server
import json
import os
import tempfile
import threading

from selenium.webdriver.common.keys import Keys

from console_page import POLL, ConsoleTest, main, wait

VIEWS = ["queues", "queues/7", "requests", "faults", "users", "computers", "files", "file-requests", "transfers", "mails", "errors"]
POLICY = ("default-src 'none'; script-src 'self'; style-src 'self'; img-src 'self' data:; connect-src 'self'; "
          "base-uri 'none'; form-action 'none'; frame-ancestors 'none'")
HOSTILE = [
    "<img src=x onerror=seen.push('markup')>",
    "'\"><script>seen.push('script')<\u2044script>",
    "invoice\u202etxt.exe",
    "zero\u200bwidth",
    "family \U0001F468\u200d\U0001F469\u200d\U0001F467 \u0645\u0631\u062d\u0628\u0627",
    "long " + "\u00e9" * 110,
]
FAINT_TEXTS = """
    const parse = (colour) => colour.match(/[\\d.]+/g).map(Number);
    const over = ([r, g, b, a = 1], [x, y, z]) => [r * a + x * (1 - a), g * a + y * (1 - a), b * a + z * (1 - a)];
    const ground = (at) => {
        const own = parse(getComputedStyle(at).backgroundColor);
        return own[3] === undefined ? own : over(own, at.parentElement ? ground(at.parentElement) : [255, 255, 255]);
    };
    const light = (colour) => colour.slice(0, 3).map((each) => each / 255)
        .map((each) => each <= 0.04045 ? each / 12.92 : ((each + 0.055) / 1.055) ** 2.4)
        .reduce((sum, each, index) => sum + each * [0.2126, 0.7152, 0.0722][index], 0);
    const faint = [];
    const texts = document.createTreeWalker(document.body, NodeFilter.SHOW_TEXT);
    while (texts.nextNode()) {
        const at = texts.currentNode.parentElement;
        if (!texts.currentNode.data.trim() || !at.checkVisibility() || at.closest('.unseen, noscript, .skip')) {
            continue;
        }
        const back = ground(at);
        const usable = !at.closest(':disabled');
        const own = parse(getComputedStyle(at).color);
        const shown = over([...own.slice(0, 3), (own[3] ?? 1) * getComputedStyle(at).opacity], back);
        const [high, low] = [light(shown), light(back)].sort((one, other) => other - one);
        const contrast = (high + 0.05) / (low + 0.05);
        if (contrast < (usable ? 4.5 : 3)) {
            faint.push(`${contrast.toFixed(2)} ${at.tagName} ${at.className} ${texts.currentNode.data.trim().slice(0, 30)}`);
        }
    }
    return faint;
"""


class ThePage(ConsoleTest):
    def focus_by_tab(self, description, back=False):
        """Presses Tab until what has the focus is described so, and is seen to have it."""
        for _ in range(60):
            self.page.press(Keys.SHIFT + Keys.TAB if back else Keys.TAB)
            if description in self.page.focused():
                self.assertTrue(self.page.run("""
                    const at = document.activeElement;
                    const ring = (each) => each && getComputedStyle(each).outlineStyle !== 'none' && parseFloat(getComputedStyle(each).outlineWidth) >= 2;
                    return ring(at) || ring(at.nextElementSibling) || ring(at.closest('.editor'));
                """), f"{description} has no focus ring")
                return
        self.fail(f"{description} is not reached: {self.page.focused()}")

    def test_comes_whole_from_the_service_under_a_strict_policy(self):
        self.page.requested()
        self.page.open("#queues")
        for view in VIEWS:
            self.page.go(f"#{view}")
        urls = [url for url in self.page.requested() if not url.startswith(("data:", "about:"))]
        files = [url for url in urls if url.startswith(f"{self.service.address}/console/")]
        self.assertEqual({url.rpartition("/")[0] for url in files}, {files[0].rpartition("/")[0]})
        self.assertGreater(len(files), 30)
        self.assertEqual([url for url in urls if not url.startswith(self.service.address + "/")], [])
        connection = self.service.connect()
        for url in [self.service.address + "/", *files]:
            connection.request("GET", url.removeprefix(self.service.address))
            response = connection.getresponse()
            content = response.read()
            self.assertEqual(response.headers["Content-Security-Policy"], POLICY)
            for forbidden in (b"http://", b"https://", b"//cdn", b"innerHTML", b"outerHTML", b"insertAdjacentHTML", b"eval(", b" style="):
                found = content.replace(b"http://www.w3.org/2000/svg", b"")
                self.assertNotIn(forbidden, found, url)
        connection.close()

    def test_would_show_a_violation_of_its_policy(self):
        self.page.open("#queues")
        self.page.run("""
            const script = document.createElement('script');
            script.textContent = 'seen.push("ran")';
            document.body.append(script);
            const image = document.createElement('img');
            image.src = 'http://127.0.0.1:1/x.png';
            document.body.append(image);
        """)
        wait(lambda: len(self.page.run("return seen")) == 2, "two violations")
        self.assertEqual(sorted(each.split()[1] for each in self.page.run("return seen")), ["img-src", "script-src-elem"])
        self.page.driver.get_log("browser")
        self.page.requested()
        self.page.run("seen.length = 0")

    def test_is_used_with_the_keyboard_alone(self):
        for name in ("a.txt", "b.txt"):
            self.service.put("7", name)
        self.service.put("8", "c.txt")
        self.page.open("#queues/7")
        self.page.wait_rows("items-table", lambda rows: len(rows) == 2, "two items")
        self.page.run("document.activeElement.blur(); scrollTo(0, 0)")
        self.page.open("#queues/7")
        self.page.wait_rows("items-table", lambda rows: len(rows) == 2, "two items")
        self.focus_by_tab("BUTTON add-files")
        self.focus_by_tab("BUTTON add-folder")
        self.focus_by_tab("INPUT")
        self.page.press(Keys.ARROW_RIGHT)
        self.page.wait_text("#items-empty", "Nothing was acknowledged yet.")
        self.page.press(Keys.ARROW_LEFT)
        self.page.wait_rows("items-table", lambda rows: len(rows) == 2, "two items")
        self.focus_by_tab("Withdraw")
        self.page.press(Keys.ENTER)
        self.assertIn("confirm-no", self.page.focused())
        self.page.press(Keys.TAB, Keys.ENTER)
        self.page.wait_rows("items-table", lambda rows: len(rows) == 1, "one item")
        wait(lambda: "Withdraw" in self.page.focused(), "the focus goes on to the next item")
        self.focus_by_tab("BUTTON clear-queue", back=True)
        self.page.press(Keys.ENTER)
        self.assertIn("confirm-no", self.page.focused())
        self.page.press(Keys.ESCAPE)
        self.assertEqual(self.service.api("/status?computer=7")["pending"], 1)
        self.focus_by_tab("A  8", back=True)
        self.page.press(Keys.ENTER)
        self.page.wait_text("#queue-heading", "Computer 8")
        self.page.press("/")
        wait(lambda: "INPUT search" in self.page.focused(), "the search has the focus")
        self.page.press("PUT", Keys.TAB)
        self.page.fill("#search", "outbox/8")
        self.page.wait_rows("requests-table", lambda rows: len(rows) == 1, "one request")
        self.focus_by_tab("PUT /outbox/8/c.txt")
        self.page.press(Keys.ENTER)
        self.page.wait_text("#request-content", "curl")
        self.page.press(Keys.ESCAPE)
        wait(lambda: "PUT /outbox/8/c.txt" in self.page.focused(), "the focus is back in the list")
        self.assertEqual(self.page.run("return location.hash"), "#requests")
        self.focus_by_tab("A  Faults", back=True)
        self.page.press(Keys.ENTER)
        self.focus_by_tab("TEXTAREA plan")
        self.focus_by_tab("BUTTON reset", back=True)

    def test_begins_with_a_link_to_its_content(self):
        self.page.open("#users")
        self.page.press(Keys.TAB)
        self.assertIn("A skip", self.page.focused())
        self.page.press(Keys.ENTER)
        self.assertIn("MAIN main", self.page.focused())
        self.assertEqual(self.page.run("return location.hash"), "#users")

    def test_names_its_controls_and_says_what_has_changed(self):
        self.page.open("#queues/7")
        nameless = self.page.run("""
            return [...document.querySelectorAll('button, a, input, select, textarea, table, progress')]
                .filter((each) => !(each.textContent.trim() || each.ariaLabel || each.labels?.length || each.caption))
                .map((each) => each.outerHTML.slice(0, 100));
        """)
        self.assertEqual([each for each in nameless if "confirm-yes" not in each], [])
        for selector in ("#toast", "#connection"):
            self.assertEqual(self.page.find(selector).get_attribute("role"), "status")

    def test_fits_a_window_of_360_pixels(self):
        name = "w" * 120 + ".txt"
        self.service.put("7", name)
        self.service.put("7", "long " * 30 + "name.txt")
        self.service.put("7", "w" * 180)
        self.service.request("GET", "/" + "x" * 3000)
        self.service.operation("MAC/ErrorLog.svc/LogError", ErrorMessage="y" * 3000, ErrorClass="c" * 300)
        self.service.operation("Registration.svc/VerifyAndRegisterUserFromTool", MailID="ann@example.org", Password="x")
        latest = self.service.api("/api/requests")["requests"][2]["id"]
        self.page.resize(360, 740)
        self.addCleanup(self.page.resize, self.width, 860)
        for view in VIEWS + [f"requests/{latest}"]:
            self.page.open(f"#{view}")
            wait(lambda: self.page.run("return document.querySelector('.view:not([hidden])').innerText.trim() !== ''"), view)
            if view == "queues/7":
                self.page.wait_rows("items-table", lambda rows: len(rows) == 3, "the items")
            self.assertEqual(self.page.run("return document.documentElement.scrollWidth"), 360, view)
            self.assertEqual(self.page.run("""
                const edge = document.getElementById('main').getBoundingClientRect().right;
                return [...document.querySelectorAll('#main *')].filter((each) => each.checkVisibility()
                        && !each.closest('.scroll :not(.scroll), textarea, .unseen') && each.getBoundingClientRect().right > edge)
                    .map((each) => each.outerHTML.slice(0, 100));
            """), [], view)
        self.page.open("#queues")
        self.page.click("#queues-table a")
        self.page.wait_text("#queue-heading", "Computer 7")
        self.assertEqual(self.page.text("#queues-master"), "")
        self.page.click("#queue-back")
        self.page.wait_text("#queues-heading", "Queues")

    def test_is_light_or_dark_and_still_as_the_user_prefers(self):
        colours = "const style = getComputedStyle(document.body); return [style.backgroundColor, style.color]"

        def brightness(colour):
            return sum(int(part) for part in colour.strip("rgb()").split(","))

        self.page.open("#queues")
        background, text = map(brightness, self.page.run(colours))
        self.assertGreater(background, text + 400)
        self.page.media(dark=True)
        background, text = map(brightness, self.page.run(colours))
        self.assertLess(background, text - 400)
        motion = "const flow = document.body.appendChild(document.createElement('i')); flow.className = 'flow'; " \
                 "const name = getComputedStyle(flow).animationName; flow.remove(); return name"
        self.assertEqual(self.page.run(motion), "flow")
        self.page.media(still=True)
        self.assertEqual(self.page.run(motion), "none")
        self.page.media()

    def test_has_texts_of_enough_contrast(self):
        """4.5 to 1, or 3 to 1 for what cannot be used (WCAG 2.2, 1.4.3)."""
        self.service.put("7", "Docs/")
        self.service.acknowledge("7")
        self.service.put("7", "Docs/a.txt")
        self.service.request("PUT", "/faults", json.dumps({"faults": [{"action": {"kind": "status", "code": 500, "body": ""}}]}))
        self.service.operation(POLL, ToComputerID="7")
        self.service.request("GET", "/no/such/page")
        self.service.operation("MAC/ErrorLog.svc/LogError", ErrorMessage="zero\u200bwidth")
        latest = self.service.api("/api/requests")["requests"][0]["id"]
        self.addCleanup(self.page.media)
        for dark in (False, True):
            self.page.media(dark=dark, still=True)
            for view in VIEWS + [f"requests/{latest}"]:
                self.page.open(f"#{view}")
                wait(lambda: self.page.run("return document.querySelector('.view:not([hidden])').innerText.trim() !== ''"), view)
                self.page.run("for (const at of document.querySelectorAll('#problem, #banner')) at.hidden = false;"
                              "document.getElementById('problem-text').textContent = document.getElementById('banner-text').textContent = 'x'")
                self.assertEqual(self.page.run(FAINT_TEXTS), [], f"{view}, dark: {dark}")

    def test_shows_hostile_names_harmlessly(self):
        for name in HOSTILE:
            self.service.put("7", name.replace("/", "\u2044"))
        self.service.put("<b>8", "a.txt")
        path = "/".join(["d" * 200] * 14)
        self.service.put("7", path + "/end.txt")
        self.service.operation("MAC/ErrorLog.svc/LogError", ErrorMessage="<svg onload=seen.push('svg')>\u202e" + "z" * 3000,
                               ComputerID="javascript:seen.push('link')")
        self.page.open("#queues/7")
        self.page.wait_rows("items-table", lambda rows: len(rows) > len(HOSTILE), "the items")
        shown = "\n".join(row[0] for row in self.page.rows("items-table"))
        self.assertIn("\\<img src=x onerror=seen.push('markup')>", shown)
        self.assertIn("invoiceU+202Etxt.exe", shown)
        self.assertIn("zeroU+200Bwidth", shown)
        self.assertIn("\U0001F468\u200d\U0001F469\u200d\U0001F467 \u0645\u0631\u062d\u0628\u0627", shown)
        self.assertNotIn("\u202e", shown)
        self.assertEqual(self.page.run("return document.querySelectorAll('main img, main svg, main script').length"), 0)
        fold = "#items-table .fold"
        self.page.wait_text(fold, "Show all ")
        height = self.page.run("return document.querySelector('#items-table tbody tr:last-child').offsetHeight")
        self.assertLess(height, 120)
        self.page.click("#items-table tbody tr:last-child .fold")
        self.page.wait_text("#items-table tbody tr:last-child", "end.txt")
        self.page.wait_text("#items-table tbody tr:last-child .fold", "Show less")
        self.assertIn("<b>8", [row[0] for row in self.page.rows("queues-table")])
        self.page.go("#errors")
        self.page.wait_text("#records-table", "<svg onload=seen.push('svg')>U+202E")
        link = self.page.run("return document.querySelector('#records-table a').href")
        self.assertTrue(link.startswith(f"{self.service.address}/#queues/javascript"), link)
        self.assertEqual(self.page.run("return seen"), [])

    def test_ignores_a_fragment_that_means_nothing(self):
        for fragment in ("#constructor", "#%E0%A4%A", "#nothing/at/all"):
            self.page.open(fragment)
            self.assertEqual(self.page.text("#queues-heading"), "Queues")

    def test_shows_a_lost_connection_and_connects_again(self):
        self.service.put("7", "a.txt")
        self.page.open("#queues/7")
        self.page.wait_rows("items-table", lambda rows: len(rows) == 1, "an item")
        self.stop_service()
        self.page.wait_text("#banner", "The connection to the service is lost.")
        self.page.wait_text("#connection", "Not connected")
        self.service.start()
        self.page.wait_live()
        self.assertEqual(self.page.text("#banner"), "")
        self.service.put("7", "b.txt")
        self.page.wait_rows("items-table", lambda rows: len(rows) == 2, "two items")
        self.page.go("#requests")
        rows = self.page.wait_rows("requests-table", lambda rows: len(rows) == 1, "the request since the start")
        self.assertEqual(rows[0][1], "PUT /outbox/7/b.txt")

    def test_leaves_its_connection_to_other_pages_while_nobody_sees_it(self):
        first = self.page.driver.current_window_handle
        self.page.open("#queues")
        for _ in range(7):  # more than the connections that a browser has to a service
            self.page.driver.switch_to.new_window("tab")
            self.page.open("#queues")
        self.service.put("7", "a.txt")
        self.page.wait_rows("queues-table", lambda rows: len(rows) == 1, "the item in the last page")
        for handle in self.page.driver.window_handles:
            if handle != first:
                self.page.driver.switch_to.window(handle)
                self.page.driver.close()
        self.page.driver.switch_to.window(first)
        self.page.wait_live()
        self.page.wait_rows("queues-table", lambda rows: len(rows) == 1, "the item in the first page")

    def test_is_no_door_for_another_site(self):
        self.service.put("7", "a.txt")
        with tempfile.TemporaryDirectory() as folder:
            with open(os.path.join(folder, "index.html"), "w", encoding="utf-8") as file:
                file.write("<!doctype html><title>another site</title>")

            class Quiet(http.server.SimpleHTTPRequestHandler):
                def __init__(self, *arguments):
                    super().__init__(*arguments, directory=folder)

                def log_message(self, *arguments):
                    pass

            site = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Quiet)
            thread = threading.Thread(target=site.serve_forever)
            thread.start()
            try:
                self.page.driver.get(f"http://127.0.0.1:{site.server_port}/")
                outcome = self.page.driver.execute_async_script("""
                    const [address, done] = arguments;
                    const attempts = [
                        fetch(address + '/api/items').then((response) => response.text()),
                        fetch(address + '/api/reset', { method: 'POST', mode: 'no-cors' }).then((response) => response.type),
                        fetch(address + '/outbox/7/planted.txt', { method: 'PUT', body: 'x' }).then((response) => response.text()),
                        new Promise((ready) => {
                            const source = new EventSource(address + '/api/events');
                            source.onopen = () => ready('opened');
                            source.onerror = () => { source.close(); ready('refused'); };
                        }),
                        new Promise((ready) => {
                            const frame = document.createElement('iframe');
                            frame.src = address + '/';
                            frame.onload = () => { try { ready('read ' + frame.contentDocument.title); } catch { ready('hidden'); } };
                            document.body.append(frame);
                        }),
                    ];
                    Promise.allSettled(attempts).then((all) => done(all.map((each) => each.status === 'fulfilled' ? each.value : 'failed')));
                """, self.service.address)
            finally:
                self.page.driver.get("about:blank")
                site.shutdown()
                site.server_close()
                thread.join()
        self.assertEqual(outcome[0], "failed")
        self.assertIn(outcome[1], ("opaque", "failed"))
        self.assertEqual(outcome[2:4], ["failed", "refused"])
        self.assertNotIn("Quenmark", outcome[4])
        self.assertEqual([item["name"] for item in self.service.api("/api/items")["items"]], ["\\a.txt"])
        connection = self.service.connect()
        for origin in ("http://evil.test", "null"):
            status, content = self.service.request("POST", "/api/reset", "", {"Origin": origin}, connection)
            self.assertEqual((status, json.loads(content)["error"]["code"]), (403, "WrongOrigin"))
        connection.close()
        self.page.requested()
        self.page.driver.get_log("browser")


if __name__ == "__main__":
    main()
