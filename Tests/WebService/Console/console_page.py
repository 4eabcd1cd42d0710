"""What the tests of the console share: the service, traffic for it, and the page in a real browser."""

import http.client
import json
import os
import shutil
import subprocess
import sys
import tempfile
import time
import unittest
import urllib.parse

SKIPPED = 77
CHROMIUM = shutil.which("chromium")
DRIVER = shutil.which("chromedriver")

try:
    from selenium import webdriver
    from selenium.common.exceptions import StaleElementReferenceException
    from selenium.webdriver.chrome.service import Service as DriverService
    from selenium.webdriver.common.by import By
except ImportError:
    webdriver = None

ROOT = "/QuenmarkRestService/"
POLL = "Uploads.svc/GetTopFileUpload"
STREAM = "Uploads.svc/GetTopFileUploadWithStream"
PATIENCE = 60  # seconds until a condition is given up, on a machine that has much else to do


def main():
    """Runs the tests of the calling module against the service that the command line names."""
    if not CHROMIUM or not DRIVER or webdriver is None:
        print("chromium, chromedriver or selenium is missing", file=sys.stderr)
        sys.exit(SKIPPED)
    Service.program = sys.argv.pop(1)
    unittest.main(verbosity=2)


def wait(condition, what, seconds=PATIENCE):
    """The first true value of `condition`. `what` is a text, or a function that gives one, for the failure."""
    deadline = time.monotonic() + seconds
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > deadline:
            raise AssertionError(f"not within {seconds} s: {what() if callable(what) else what}")
        time.sleep(0.02)


class Service:
    """The program, on a folder of its own."""

    program = None

    def __init__(self):
        self.folder = tempfile.mkdtemp(prefix="console-")
        self.port = 0
        self.start()

    def start(self):
        self.process = subprocess.Popen(
            [self.program, "--listen", f"127.0.0.1:{self.port}", "--data", self.folder],
            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
        line = self.process.stdout.readline()
        self.port = int(line.rsplit(":", 1)[1])

    def stop(self):
        self.process.terminate()
        self.process.wait(PATIENCE)
        self.process.stdout.close()

    def close(self):
        self.stop()
        shutil.rmtree(self.folder, ignore_errors=True)

    @property
    def address(self):
        return f"http://127.0.0.1:{self.port}"

    def connect(self):
        return http.client.HTTPConnection("127.0.0.1", self.port, timeout=60)

    def request(self, method, path, body=None, fields=None, connection=None):
        """Status and body of the response."""
        used = connection or self.connect()
        used.request(method, path, body, fields or {})
        response = used.getresponse()
        content = response.read()
        if connection is None:
            used.close()
        return response.status, content

    def api(self, path, method="GET", body=None):
        status, content = self.request(method, path, body)
        assert status == 200, f"{method} {path}: {status} {content[:300]}"
        return json.loads(content)

    def operation(self, name, connection=None, **members):
        return self.request("POST", ROOT + name, json.dumps(members), connection=connection)[1]

    def put(self, computer, path, content=b"x"):
        """Queues a file, or a folder where the path ends with a slash."""
        content = b"" if path.endswith("/") else content
        status, answer = self.request("PUT", f"/outbox/{computer}/{urllib.parse.quote(path)}", content)
        assert status == 201, answer

    def acknowledge(self, computer):
        """Receives and acknowledges the computer's next item."""
        item = json.loads(self.operation(POLL, ToComputerID=computer))
        self.operation(STREAM, ToComputerID=computer, Length="0")
        self.operation("Uploads.svc/UpdateFileUpload", FileUploadID=item["FileUploadID"], ToComputerID=computer)
        return item


class Page:
    """The console in a browser. Every request, error and violation of the content security policy is recorded."""

    def __init__(self, address, width=1280, height=860, dark=False):
        self.address = address
        self.profile = tempfile.mkdtemp(prefix="console-profile-")
        options = webdriver.ChromeOptions()
        options.binary_location = CHROMIUM
        for argument in ("--headless=new", "--no-sandbox", "--disable-dev-shm-usage", "--disable-gpu", "--hide-scrollbars",
                         "--no-first-run", f"--user-data-dir={self.profile}", "--disable-background-networking"):
            options.add_argument(argument)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        self.driver = webdriver.Chrome(service=DriverService(DRIVER), options=options)
        self.driver.set_page_load_timeout(PATIENCE)
        self.driver.set_script_timeout(PATIENCE)
        self.cdp("Page.addScriptToEvaluateOnNewDocument", source="""
            window.seen = [];
            addEventListener('securitypolicyviolation', (event) => seen.push('violation: ' + event.violatedDirective + ' ' + event.blockedURI));
            addEventListener('error', (event) => seen.push('error: ' + event.message));
            addEventListener('unhandledrejection', (event) => seen.push('rejection: ' + event.reason));
        """)
        self.resize(width, height)
        self.media(dark=dark)
        self.open("")

    def close(self):
        self.driver.quit()
        shutil.rmtree(self.profile, ignore_errors=True)

    def cdp(self, command, **parameters):
        return self.driver.execute_cdp_cmd(command, parameters)

    def resize(self, width, height):
        self.cdp("Emulation.setDeviceMetricsOverride", width=width, height=height, deviceScaleFactor=1, mobile=False)

    def media(self, dark=False, still=False):
        self.cdp("Emulation.setEmulatedMedia", features=[
            {"name": "prefers-color-scheme", "value": "dark" if dark else "light"},
            {"name": "prefers-reduced-motion", "value": "reduce" if still else "no-preference"}])

    def open(self, fragment):
        """Loads the page anew, at this fragment, and waits until it is live."""
        self.driver.get("about:blank")
        self.driver.get(f"{self.address}/{fragment}")
        self.wait_live()

    def go(self, fragment):
        """Follows a fragment without loading the page."""
        self.run("location.hash = arguments[0]", fragment)

    def wait_live(self):
        wait(lambda: self.run("return document.getElementById('connection').dataset.state") == "live", "the page is live")

    def run(self, script, *arguments):
        return self.driver.execute_script(script, *arguments)

    def find(self, selector):
        return self.driver.find_element(By.CSS_SELECTOR, selector)

    def find_all(self, selector):
        return self.driver.find_elements(By.CSS_SELECTOR, selector)

    def text(self, selector):
        """The text of what is shown of the first such element, or nothing."""
        return self.run("""
            const found = document.querySelector(arguments[0]);
            return found && found.checkVisibility() ? found.innerText : "";
        """, selector)

    def wait_text(self, selector, part):
        wait(lambda: part in self.text(selector), lambda: f"{part!r} in {selector}: {self.text(selector)!r}")

    def rows(self, table):
        """The texts of the rows that are shown, cell by cell."""
        return self.run("""
            return [...document.querySelectorAll(`#${arguments[0]} tbody tr`)].filter((row) => row.checkVisibility())
                .map((row) => [...row.cells].map((cell) => cell.innerText.trim()));
        """, table)

    def wait_rows(self, table, condition, what):
        wait(lambda: condition(self.rows(table)), lambda: f"{what} in {table}: {self.rows(table)[:5]!r}")
        return self.rows(table)

    def click(self, selector):
        """A click with the mouse, at what is there by then."""
        def clicked():
            for element in self.find_all(selector):
                try:
                    if element.is_displayed() and element.is_enabled():
                        element.click()
                        return True
                except StaleElementReferenceException:
                    pass
            return False
        wait(clicked, f"{selector} can be clicked")

    def button(self, label, within="body"):
        """Clicks the first button with this text."""
        def clicked():
            return self.run("""
                const button = [...document.querySelectorAll(`${arguments[1]} button`)]
                    .find((each) => each.checkVisibility() && !each.disabled && each.textContent.trim() === arguments[0]);
                button?.click();
                return Boolean(button);
            """, label, within)
        wait(clicked, f"the button {label!r} can be clicked")

    def press(self, *keys):
        from selenium.webdriver.common.action_chains import ActionChains
        ActionChains(self.driver).send_keys(*keys).perform()

    def focused(self):
        """Tag, identifier and text of what has the focus."""
        return self.run("const at = document.activeElement; return `${at.tagName} ${at.id} ${at.textContent.slice(0, 60)}`")

    def fill(self, selector, text):
        """Replaces what is in a field, as typing does."""
        self.run("""
            const field = document.querySelector(arguments[0]);
            field.focus();
            field.select();
            document.execCommand(arguments[1] ? "insertText" : "delete", false, arguments[1]);
        """, selector, text)

    def drop(self, selector, paths):
        """Drops files and folders of the disk onto an element, as the mouse does."""
        box = self.run("""
            const found = document.querySelector(arguments[0]);
            found.scrollIntoView({ block: "center" });
            return found.getBoundingClientRect().toJSON();
        """, selector)
        data = {"items": [], "files": paths, "dragOperationsMask": 1}
        for kind in ("dragEnter", "dragOver", "drop"):
            self.cdp("Input.dispatchDragEvent", type=kind, x=box["x"] + box["width"] / 2, y=box["y"] + box["height"] / 2, data=data)

    def screenshot(self, path):
        self.driver.save_screenshot(path)

    def requested(self):
        """The addresses that the browser has asked for since the last call."""
        events = [json.loads(entry["message"])["message"] for entry in self.driver.get_log("performance")]
        return [event["params"]["request"]["url"] for event in events if event["method"] == "Network.requestWillBeSent"]

    def problems(self):
        """Violations, script errors, and requests that left the service, apart from a lost connection's."""
        found = self.run("return window.seen")
        found += [entry["message"] for entry in self.driver.get_log("browser")
                  if entry["source"] not in ("network", "console-api") or "Content Security" in entry["message"]]
        found += [url for url in self.requested()
                  if not url.startswith((self.address + "/", "data:", "about:", "chrome"))]
        return found


class ConsoleTest(unittest.TestCase):
    """A service and its console, for all tests of a class; each begins with nothing on the service."""

    width = 1280

    @classmethod
    def setUpClass(cls):
        cls.service = Service()
        cls.addClassCleanup(cls.service.close)
        cls.page = Page(cls.service.address, cls.width)
        cls.addClassCleanup(cls.page.close)

    def setUp(self):
        self.service.api("/api/reset", "POST")

    def stop_service(self):
        """Until the test starts it, or ends."""
        self.service.stop()
        self.addCleanup(lambda: self.service.process.poll() is None or self.service.start())

    def tearDown(self):
        self.assertEqual(self.page.problems(), [])
