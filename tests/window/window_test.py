"""The browser as a person or a WebDriver sees it. Usage: window_test.py VALE [SUBJECT...]"""

import json
import os
import signal
import subprocess
import sys
import unittest
import urllib.error
import urllib.request

import stage

GREEN = (0x3A, 0x7D, 0x44)
VALE = sys.argv.pop(1)

PAGES = {
    "/green": ("text/html; charset=utf-8", "<title>Green</title><body style='background:#3a7d44'>"),
    "/red": ("text/html; charset=utf-8", "<title>Red</title><body style='background:#a01010'>"),
    "/hostile": ("text/html; charset=utf-8", "<title>&lt;b&gt;x&lt;/b&gt;&amp;amp;\u202e</title><body id='b'>" + "x" * 100),
    "/long": ("text/html; charset=utf-8", "<title>" + "x" * 5_000_000 + "</title><body style='background:#3a7d44'>"),
    "/read": ("text/html; charset=utf-8", "<title>Reading</title><p>Plain words.<p hidden>Unseen.<script>var a = 1</script>"),
    "/login": ("text/html; charset=utf-8", "<title>Login</title>Hello.<iframe srcdoc='<input type=password>'></iframe>"),
    "/trap": ("text/html; charset=utf-8", "<a href='vale://history'>x</a><iframe src='vale://start'></iframe>"),
    "/archive": ("application/x-unheard-of", "\x00\x01"),
}


class WindowTest(unittest.TestCase):
    def setUp(self):
        self.folder, self.environment = self.enterContext(stage.stage())
        self.server = stage.Server(PAGES)
        self.addCleanup(self.server.server_close)
        self.addCleanup(self.server.shutdown)

    def vale(self, *arguments, **changes):
        return subprocess.run([VALE, *map(str, arguments)], env=self.environment | changes, capture_output=True,
                              text=True, timeout=90)


class CommandLine(WindowTest):
    def test_mistakes_get_a_sentence_and_status_2(self):
        file = self.folder / "x.png"
        for arguments, sentence in [
            (["--frobnicate"], "--frobnicate"),
            (["--size", "12", "about:blank"], "Write it like 1200x800"),
            (["--size", "800x99999", "about:blank"], "Write it like 1200x800"),
            (["--screenshot", file], "takes one FILE and one URL"),
            (["--screenshot", file, "a.org", "b.org"], "takes one FILE and one URL"),
            (["--screenshot", self.folder / "no" / "x.png", "a.org"], "There is no folder"),
            (["--screenshot", self.folder, "a.org"], "is a folder"),
            (["--screenshot", file, "--automation", "a.org"], "goes neither with"),
            (["javascript:alert(1)"], "run a script inside the open page"),
            ([" "], "An empty text is no address"),
        ]:
            with self.subTest(arguments=arguments):
                result = self.vale(*arguments)
                self.assertEqual((result.returncode, result.stdout), (2, ""))
                self.assertIn(sentence, result.stderr)

    def test_questions_are_answered_without_a_display(self):
        for option, text in [("--version", "vale 0."), ("--help", "--screenshot")]:
            result = self.vale(option, DISPLAY="")
            self.assertEqual((result.returncode, result.stderr), (0, ""))
            self.assertIn(text, result.stdout)
        result = self.vale("about:blank", DISPLAY="")
        self.assertEqual(result.returncode, 1)
        self.assertIn("There is no display", result.stderr)


class Pictures(WindowTest):
    def test_a_screenshot_shows_the_window_with_the_painted_page(self):
        file = self.folder / "green.png"
        for path in ["/green", "/long"]:
            result = self.vale("--size", "640x480", "--screenshot", file, self.server.address(path))
            self.assertEqual(result.returncode, 0, result.stderr)
            picture = stage.Picture(file)
            # Without a compositor the window has a frame, which counts for its size but is not in the picture.
            self.assertIn((640 - picture.width, 480 - picture.height), [(0, 0), (10, 10)])
            for place in [(420, 240), (290, 100), (620, 400)]:
                self.assertEqual(picture.pixel(*place), GREEN)
            for place in [(420, 6), (20, 400)]:
                self.assertNotEqual(picture.pixel(*place), GREEN)
            file.unlink()
        self.assertFalse((self.folder / "support").exists(), "a screenshot leaves nothing behind")

    def test_a_page_that_cannot_be_shown_gets_a_sentence_and_status_1(self):
        file = self.folder / "x.png"
        for address, sentence in [
            (f"http://127.0.0.1:{stage.free_port()}/", "refused the connection"),
            # On a computer without a network the sentence says that first.
            ("http://no-such-server.invalid/", "“no-such-server.invalid”"),
            (str(self.folder / "missing <b>.html"), "There is nothing at file://"),
            (self.server.address("/archive"), "application/x-unheard-of"),
            ("gemini://127.0.0.1/", "knows no way to open"),
            ("vale://nowhere", "knows no way to open"),
            ("http://127.0.0.1:6000/", "the port belongs to another kind of service"),
            ("http://[/", "is not a complete address"),
        ]:
            with self.subTest(address=address):
                result = self.vale("--screenshot", file, address)
                self.assertEqual(result.returncode, 1)
                self.assertIn(sentence, result.stderr)
                self.assertFalse(file.exists())

    def test_a_running_browser_keeps_its_picture_and_its_data(self):
        file = self.folder / "now.png"
        process = subprocess.Popen([VALE, "--size", "500x400", "--picture", file, self.server.address("/green")],
                                   env=self.environment, stderr=subprocess.PIPE, text=True)
        self.addCleanup(process.stderr.close)
        self.addCleanup(stage.end, process)
        stage.until(lambda: file.exists() and stage.Picture(file).pixel(400, 200) == GREEN)
        self.assertIsNone(process.poll())
        support = self.folder / "support"
        self.assertTrue((support / "web" / "data").is_dir())
        self.assertEqual(support.stat().st_mode & 0o777, 0o700)

        # The page's process dies: the window stays and opens the page again by itself, but not for ever, and
        # then says so in the page's place. (The engine ends the browser with a page that dies before it has
        # asked for anything.)
        for asked in range(1, 4):
            stage.until(lambda: self.server.asked.count("/green") == asked)
            stage.until(lambda: stage.Picture(file).pixel(400, 380) == GREEN)
            for pid in stage.descendants(process.pid, "WebKitWebProces"):
                os.kill(pid, signal.SIGKILL)
        stage.until(lambda: stage.Picture(file).pixel(400, 380) != GREEN)
        self.assertIsNone(process.poll())

        left = stage.descendants(process.pid, "")
        stage.end(process)
        stage.until(lambda: not any(os.path.exists(f"/proc/{pid}") for pid in left))


class Driven(WindowTest):
    def setUp(self):
        super().setUp()
        self.start()

    def start(self):
        port = stage.free_port()
        self.driver = subprocess.Popen(["WebKitWebDriver", "--host=127.0.0.1", f"--port={port}"], env=self.environment)
        self.addCleanup(stage.end, self.driver)
        self.base = f"http://127.0.0.1:{port}"
        stage.until(self.ready)
        options = {"binary": VALE, "args": ["--automation", "--size", "800x600", *self.arguments()]}
        capabilities = {"alwaysMatch": {"webkitgtk:browserOptions": options}}
        session = self.ask("POST", "/session", {"capabilities": capabilities})
        self.base += f"/session/{session['sessionId']}"

    def arguments(self):
        return []

    def browsers(self):
        return stage.descendants(self.driver.pid, "vale")

    def ready(self):
        try:
            return self.ask("GET", "/status") is not None
        except OSError:
            return False

    def ask(self, method, path, body=None):
        data = None if method != "POST" else json.dumps(body or {}).encode()
        request = urllib.request.Request(self.base + path, data, {"Content-Type": "application/json"}, method=method)
        with urllib.request.urlopen(request, timeout=60) as answer:
            return json.load(answer)["value"]

    def script(self, text):
        return self.ask("POST", "/execute/sync", {"script": text, "args": []})

    def open_new(self, kind, path):
        handle = self.ask("POST", "/window/new", {"type": kind})["handle"]
        self.ask("POST", "/window", {"handle": handle})
        self.ask("POST", "/url", {"url": self.server.address(path)})
        return handle


class Automation(Driven):
    def setUp(self):
        super().setUp()
        self.addCleanup(self.quit)

    def quit(self):
        browsers = self.browsers()
        self.assertEqual(len(browsers), 1)
        self.ask("DELETE", "")
        stage.until(lambda: not any(os.path.exists(f"/proc/{pid}") for pid in browsers))
        self.assertFalse((self.folder / "support").exists(), "an automated session leaves nothing behind")

    def test_a_driver_navigates_reads_and_runs_scripts(self):
        self.ask("POST", "/url", {"url": self.server.address("/green")})
        self.assertEqual(self.ask("GET", "/title"), "Green")
        self.assertEqual(self.script("return getComputedStyle(document.body).backgroundColor"), "rgb(58, 125, 68)")
        self.assertEqual(self.script("return [navigator.webdriver, innerWidth > 500]"), [True, True])
        self.ask("POST", "/url", {"url": self.server.address("/hostile")})
        self.assertEqual(self.ask("GET", "/title"), "<b>x</b>&amp;\u202e")
        self.ask("POST", "/back")
        self.assertEqual(self.ask("GET", "/url"), self.server.address("/green"))
        self.ask("POST", "/forward")
        self.assertEqual(self.ask("GET", "/url"), self.server.address("/hostile"))
        self.ask("POST", "/refresh")
        self.assertEqual(self.script("return document.getElementById('b').textContent.length"), 100)

    def test_a_failed_page_leaves_the_browser_in_working_order(self):
        self.ask("POST", "/url", {"url": self.server.address("/red")})
        for address in [f"http://127.0.0.1:{stage.free_port()}/", "file:///nonexistent/x.html"]:
            self.ask("POST", "/url", {"url": address})
            self.assertEqual(self.ask("GET", "/url"), self.server.address("/red"))
        self.ask("POST", "/url", {"url": self.server.address("/green")})
        self.assertEqual(self.ask("GET", "/title"), "Green")

    def test_a_new_window_is_a_window_of_its_own(self):
        self.ask("POST", "/url", {"url": self.server.address("/green")})
        first = self.ask("GET", "/window")
        self.assertEqual(self.ask("GET", "/window/handles"), [first])
        self.open_new("window", "/red")
        self.ask("DELETE", "/window")
        stage.until(lambda: self.ask("GET", "/window/handles") == [first])
        self.ask("POST", "/window", {"handle": first})
        self.assertEqual(self.ask("GET", "/title"), "Green")


class Session(Driven):
    def arguments(self):
        return ["--support", str(self.folder / "kept")]

    def windows(self):
        """The addresses and groups in the session file, window by window."""
        try:
            windows = json.loads((self.folder / "kept" / "session.json").read_text())["windows"]
        except FileNotFoundError:
            return None
        return [[tab["url"].rsplit("/", 1)[-1] for tab in window["tabs"]] for window in windows]

    def kill(self):
        browsers = self.browsers()
        for pid in browsers:
            os.kill(pid, signal.SIGKILL)
        stage.until(lambda: not any(os.path.exists(f"/proc/{pid}") for pid in browsers))

    def test_a_killed_browser_comes_back_with_its_windows_and_tabs(self):
        self.ask("POST", "/url", {"url": self.server.address("/green")})
        self.open_new("tab", "/red")
        self.open_new("window", "/long")
        expected = [["green", "red"], ["long"]]
        stage.until(lambda: self.windows() == expected)
        self.kill()
        self.start()
        # One page a window: what is not selected is not loaded.
        self.assertEqual(len(self.ask("GET", "/window/handles")), 2)
        self.assertEqual(self.ask("GET", "/url"), self.server.address("/red"))
        self.open_new("tab", "/green")
        stage.until(lambda: self.windows() == [["green", "red", "green"], ["long"]])
        self.assertEqual(len(list((self.folder / "kept" / "Sessions").iterdir())), 1)
        self.kill()


class History(Driven):
    def arguments(self):
        return ["--support", str(self.folder / "kept")]

    def visits(self):
        files = (self.folder / "kept" / "Library" / "history").glob("*.jsonl")
        lines = [json.loads(line) for file in files for line in file.read_text().splitlines()]
        return {line["url"].rsplit("/", 1)[1]: line for line in lines}

    def test_visits_are_kept_and_listed_where_no_web_page_can_look(self):
        for path, title, text, sensitive in [("read", "Reading", "Plain words.", None), ("login", "Login", "", True)]:
            self.ask("POST", "/url", {"url": self.server.address("/" + path)})
            line = stage.until(lambda: self.visits().get(path))
            self.assertEqual((line["title"], line["textExcerpt"], line.get("sensitive")), (title, text, sensitive))
        self.open_new("tab", "/trap")
        self.script("document.querySelector('a').click(); location = 'vale://history'")
        self.assertEqual(self.script("return [open('vale://history')?.document?.title, "
                                     "window.webkit?.messageHandlers?.history]"), [None, None])
        self.assertEqual(self.ask("GET", "/url"), self.server.address("/trap"))
        with self.assertRaises(urllib.error.HTTPError, msg="the frame has a document"):
            self.ask("POST", "/frame", {"id": 0})
        self.ask("POST", "/url", {"url": "vale://history"})
        listed = "return [...document.querySelectorAll('li a')].map(one => one.textContent)"
        stage.until(lambda: self.script(listed)[1:] == ["Login", "Reading"])
        self.script("document.querySelectorAll('li button')[2].click()")
        stage.until(lambda: "login" not in self.visits() and len(self.script(listed)) == 2)
        self.script("document.querySelector('#notice button').click()")
        stage.until(lambda: "login" in self.visits() and len(self.script(listed)) == 3)
        self.ask("DELETE", "")


class Start(Driven):
    """The start page, with an agent that answers at once and leaves a mark when it is started."""

    CLUSTERS = {"clusters": [{"name": "<b>Colours</b>", "intent": "painting", "rationale": "Both are colours.",
                              "comparable": True, "tab_ids": [2, 1, 1, 99]}], "unassigned": []}
    CLAUDE = """#!/bin/sh
echo "$@" >> "{marks}"
case "$1 $2" in
'--version ') echo '9.9.9 (scripted)'; exit;;
'auth status') echo '{{"loggedIn":true,"authMethod":"api_key"}}'; exit;;
esac
cat > "{marks}.prompt"
echo '{result}'
"""

    def arguments(self):
        marks = self.folder / "started"
        result = json.dumps({"type": "result", "subtype": "success", "is_error": False, "result": "",
                             "structured_output": self.CLUSTERS})
        agent = self.folder / ".local" / "bin" / "claude"
        agent.parent.mkdir(parents=True)
        agent.write_text(self.CLAUDE.format(marks=marks, result=result))
        agent.chmod(0o755)
        self.marks = marks
        return ["--support", str(self.folder / "kept")]

    def cards(self):
        """What the start page lists: title -> the names of its tabs."""
        listed = self.script("return [...document.querySelectorAll('.card')].map(card => [card.querySelector('h2')"
                             ".textContent, [...card.querySelectorAll('.open span')].map(one => one.textContent)])")
        return {title: sorted(tabs) for title, tabs in listed}

    def click(self, selector):
        self.script(f"document.querySelector({json.dumps(selector)}).click()")

    def test_tabs_are_grouped_moved_and_put_back_only_when_asked(self):
        self.ask("POST", "/url", {"url": self.server.address("/green")})
        for path in ["/red", "/read"]:
            self.open_new("tab", path)
        handle = self.ask("POST", "/window/new", {"type": "tab"})["handle"]
        self.ask("POST", "/window", {"handle": handle})
        self.ask("POST", "/url", {"url": "vale://start"})
        ungrouped = {"Not grouped yet": ["Green", "Reading", "Red"]}
        stage.until(lambda: self.cards() == ungrouped)
        self.script("document.querySelector('#prompt').open = true")
        prompt = stage.until(lambda: self.script("return document.querySelector('#prompt pre').textContent"))
        self.assertFalse(self.marks.exists(), "an agent was started unasked")

        self.click("#regroup")
        grouped = {"<b>Colours</b>": ["Green", "Red"], "Unassigned tabs": ["Reading"]}
        stage.until(lambda: self.cards() == grouped)
        self.assertIn(json.dumps(prompt)[1:-1], (self.folder / "started.prompt").read_text())
        self.click(".group .fold")
        stage.until(lambda: self.cards()["<b>Colours</b>"] == [])
        self.click(".group .fold")
        self.click(".unassigned .tools button")
        self.click("#move button")
        stage.until(lambda: self.cards() == {"<b>Colours</b>": ["Green", "Reading", "Red"]})
        self.click("#undo")
        stage.until(lambda: self.cards() == {"New or changed tabs": ["Green", "Reading", "Red"]} | ungrouped
                    or self.cards() == ungrouped)
        self.ask("DELETE", "")


if __name__ == "__main__":
    unittest.main(verbosity=2)
