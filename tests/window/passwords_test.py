"""Passwords as a person meets them: real keys and clicks, a real password service. Usage: passwords_test.py VALE"""

import contextlib
import http.server
import json
import re
import subprocess
import sys
import threading
import unittest
import urllib.parse

import accessible
import stage

VALE = sys.argv.pop(1)

# Where the fields of the page are on the display, from its top.
USER, PASSWORD = 130, 280

# The fields fill the page, so that a click finds them whatever stands above it. What they hold is reported.
FIELDS = """<!doctype html><meta charset=utf-8><title>{title}</title>
<style>body {{ margin: 0 }} input, button {{ display: block; width: 100%; height: 30vh; font-size: 30px }}</style>
<form method=post action=/in><input name=user autocomplete=username required>
<input type=password name=password required><button>Log in</button></form>
<script>setInterval(() => {{
  const [user, password] = document.querySelectorAll('input');
  fetch('/report', {{method: 'POST', body: JSON.stringify([location.port, user.value, password.value])}});
}}, 100);</script>"""
FRAME = "<!doctype html><style>body, iframe {{ margin: 0; border: 0; width: 100%; height: 95vh }}</style><iframe src={}>"

BUS = """<busconfig><type>session</type><listen>{}</listen><auth>EXTERNAL</auth><policy context="default">
<allow send_destination="*" eavesdrop="true"/><allow eavesdrop="true"/><allow own="*"/></policy></busconfig>"""


class Site(http.server.ThreadingHTTPServer):
    """A site with a login at /login, which takes one password; `reports` is what its pages say they hold."""

    def __init__(self):
        site = self

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_GET(self):
                path = urllib.parse.urlparse(self.path).path
                self.answer(site.pages.get(path))

            def do_POST(self):
                body = self.rfile.read(int(self.headers["Content-Length"])).decode()
                if self.path == "/report":
                    site.reports.append(json.loads(body))
                    return self.answer("")
                sent = urllib.parse.parse_qs(body)
                site.logins.append((sent["user"][0], sent["password"][0]))
                right = sent["password"][0].startswith("right")
                self.answer("<title>Welcome</title>In." if right else site.pages["/login"])

            def answer(self, page):
                self.send_response(404 if page is None else 200)
                self.send_header("Content-Type", "text/html; charset=utf-8")
                self.end_headers()
                with contextlib.suppress(OSError):
                    self.wfile.write((page or "").encode())

            def log_message(self, *arguments):
                pass

        super().__init__(("127.0.0.1", 0), Handler)
        self.daemon_threads = True
        self.reports, self.logins = [], []
        self.pages = {"/login": FIELDS.format(title="Login")}
        threading.Thread(target=self.serve_forever, daemon=True).start()

    def address(self, path):
        return f"http://127.0.0.1:{self.server_port}{path}"


class Passwords(unittest.TestCase):
    def setUp(self):
        self.folder, self.environment = self.enterContext(stage.stage())
        self.environment |= self.enterContext(accessible.buses(self.folder))
        self.site, self.other = Site(), Site()
        for site in (self.site, self.other):
            self.addCleanup(site.server_close)
            self.addCleanup(site.shutdown)

    def start_service(self):
        keyring = self.folder / ".local" / "share" / "keyrings" / "login.keyring"
        keyring.parent.mkdir(parents=True)
        service = subprocess.Popen(["gnome-keyring-daemon", "--unlock", "--foreground", "--components=secrets"],
                                   env=self.environment, stdin=subprocess.PIPE, stdout=subprocess.DEVNULL,
                                   stderr=subprocess.DEVNULL)
        self.addCleanup(stage.end, service)
        service.stdin.write(b"secret")
        service.stdin.close()
        stage.until(keyring.exists)

    def vale(self, address, *arguments):
        return accessible.browser(VALE, self.environment, "--support", self.folder / "kept", "--size", "800x600",
                                  *arguments, address)

    def held(self, site):
        """What the page of a site holds at last: user name and password."""
        return next((tuple(report[1:]) for report in reversed(site.reports)
                     if report[0] == str(site.server_port)), None)

    def shown(self, site):
        """Waits for the empty form of a site."""
        site.reports.clear()
        stage.until(lambda: self.held(site) == ("", ""))

    def enter(self, browser, y, text, field):
        """Over what the field holds; again while the window has not had the keyboard yet."""
        def entered():
            browser.press("Shift_L")
            browser.desktop("mousemove", 600, y, "click", "--repeat", 3, 1)
            browser.type(text)
            with contextlib.suppress(TimeoutError):
                return stage.until(lambda: self.held(self.site)[field] == text, 3)
        stage.until(entered)

    def log_in(self, browser, user, password):
        count = len(self.site.logins)
        self.enter(browser, USER, user, 0)
        self.enter(browser, PASSWORD, password, 1)
        browser.press("Return")
        stage.until(lambda: len(self.site.logins) > count)

    def save(self, browser, user, password):
        self.shown(self.site)
        self.log_in(browser, user, password)
        browser.find("button", "Save").activate()
        stage.until(lambda: not browser.look("button", "Save"))

    def accounts(self, browser, seconds=15):
        """The list under the user name after a click there, or None."""
        browser.press("Shift_L")
        browser.click(600, USER)
        with contextlib.suppress(TimeoutError):
            return stage.until(lambda: browser.look("list", "Saved accounts"), seconds)

    def choose(self, browser, user):
        """By the keyboard: into the list, and there the first account."""
        account = stage.until(lambda: self.accounts(browser, 3)).find("list item", user)
        browser.press("Down")
        stage.until(lambda: account.has("focused"))
        browser.press("Return")

    def test_a_login_is_saved_once_it_was_right_and_filled_where_it_belongs(self):
        self.start_service()
        with self.vale(self.site.address("/login")) as browser:
            self.shown(self.site)
            self.log_in(browser, "ann", "wrong")
            self.save(browser, "ann", "right <1>")
        kept = b"".join(path.read_bytes() for path in (self.folder / "kept").rglob("*") if path.is_file())
        self.assertIn(b"127.0.0.1", kept)
        self.assertNotIn(b"right", kept)
        filled = ("ann", "right <1>")
        with self.vale(self.site.address("/login")) as browser:
            self.shown(self.site)
            self.choose(browser, "ann")
            stage.until(lambda: self.held(self.site) == filled)
            browser.press("Return")
            browser.find("frame", re.compile("Welcome"))
            self.assertIsNone(browser.look("button", "Save"))

        # A frame of another origin gets nothing, in the page with the saved login nor with its own.
        self.site.pages["/frame"] = FRAME.format(self.other.address("/login"))
        self.other.pages["/frame"] = FRAME.format(self.site.address("/login"))
        self.site.pages["/own"] = FRAME.format("/login")
        for page, inner in [(self.site, self.other), (self.other, self.site)]:
            with self.vale(page.address("/frame")) as browser:
                self.shown(inner)
                self.assertIsNone(self.accounts(browser, 2))
                self.assertEqual(self.held(inner), ("", ""))
        with self.vale(self.site.address("/own")) as browser:
            self.shown(self.site)
            self.choose(browser, "ann")
            stage.until(lambda: self.held(self.site) == filled)

    def test_a_new_password_takes_the_old_ones_place_and_never_means_never(self):
        self.start_service()
        with self.vale(self.site.address("/login")) as browser:
            self.save(browser, "ann", "right 1")
        with self.vale(self.site.address("/login")) as browser:
            self.shown(self.site)
            self.log_in(browser, "ann", "right 2")
            browser.find("label", re.compile("^Change the saved password of .*ann"))
            browser.find("button", "Change").activate()
            stage.until(lambda: not browser.look("button", "Change"))
        with self.vale(self.site.address("/login")) as browser:
            self.shown(self.site)
            self.choose(browser, "ann")
            stage.until(lambda: self.held(self.site) == ("ann", "right 2"))
            self.log_in(browser, "bob", "right 3")
            browser.find("button", "Never for This Site").activate()
            stage.until(lambda: not browser.look("button", "Save"))
        with self.vale(self.site.address("/login")) as browser:
            self.shown(self.site)
            self.log_in(browser, "eve", "right 4")
            browser.find("frame", "Welcome").activate("win.passwords")
            browser.find("button", "Copy the Password")
            browser.find("button", "Ask again on this site").activate()
            stage.until(lambda: not browser.look("button", "Ask again on this site"))
            self.assertIsNone(browser.look("button", "Save"))

    def test_a_private_window_fills_and_offers_nothing(self):
        self.start_service()
        with self.vale(self.site.address("/login")) as browser:
            self.save(browser, "ann", "right 1")
        with self.vale(self.site.address("/login"), "--private") as browser:
            self.shown(self.site)
            self.choose(browser, "ann")
            stage.until(lambda: self.held(self.site) == ("ann", "right 1"))
            self.log_in(browser, "bob", "right 2")
            with self.assertRaises(TimeoutError):
                stage.until(lambda: browser.look("button", "Save"), 4)

    def test_without_a_password_service_a_sentence_says_what_to_install(self):
        # A bus that starts no service by itself.
        configuration, address = self.folder / "bus.conf", f"unix:path={self.folder}/bare"
        configuration.write_text(BUS.format(address))
        bus = subprocess.Popen(["dbus-daemon", "--nofork", "--nopidfile", "--config-file", configuration],
                               env=self.environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        self.addCleanup(stage.end, bus)
        stage.until((self.folder / "bare").exists)
        self.environment["DBUS_SESSION_BUS_ADDRESS"] = address
        with self.vale(self.site.address("/login")) as browser:
            self.shown(self.site)
            self.log_in(browser, "ann", "right 1")
            browser.find("label", re.compile("^No password service runs .* gnome-keyring"))


if __name__ == "__main__":
    unittest.main(verbosity=2)
