"""Every control says what it is, and F6 reaches each part of a window. Usage: names_test.py VALE [SUBJECT...]"""

import json
import re
import sys
import unittest

import accessible
import stage

VALE = sys.argv.pop(1)
HTML = "text/html; charset=utf-8"
PAGES = {"/": (HTML, "<title>Asks</title><script>open('/z')</script><p>words")}

CONTROLS = {"button", "toggle button", "check box", "radio button", "switch", "text", "entry", "password text",
            "combo box", "spin button", "slider", "search box"}


class NamesTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.folder, self.environment = self.enterContext(stage.stage())
        self.environment |= self.enterContext(accessible.buses(self.folder))
        self.server = stage.Server(PAGES)
        self.addCleanup(self.server.server_close)
        self.addCleanup(self.server.shutdown)
        kept = self.folder / "kept"
        (kept / "Library").mkdir(parents=True)
        marked = [{"id": "6F9619FF-8B86-4D01-B42D-00C04FC964FF", "title": "One", "url": "https://one.example/",
                   "folder": "", "createdAt": 0}]
        (kept / "Library" / "bookmarks.json").write_text(json.dumps({"bookmarks": marked}))
        self.browser = self.enterContext(accessible.browser(VALE, self.environment, "--support", kept,
                                                            self.server.address("/")))
        self.frame = self.browser.find("frame", "Asks")


    def controls(self, control, trail=()):
        """All that is not hidden, each with the controls that it is in."""
        for child in control.children:
            if child.has("visible"):
                yield (*trail, child)
                yield from self.controls(child, (*trail, child))


class Names(NamesTest):
    def check(self, where):
        bare = [" > ".join(repr(one) for one in trail if one.name or one is trail[-1]) for trail in self.controls(self.browser)
                if trail[-1].role in CONTROLS and not trail[-1].has_own_name]
        self.assertEqual(bare, [], where)

    def test_no_control_of_the_window_is_without_a_name(self):
        self.browser.find("label", re.compile("pop-up window was blocked"))
        for action in ["bookmarks-bar", "find", "agent-panel"]:
            self.frame.activate(f"win.{action}")
        self.browser.find("button", "One")
        self.browser.find("text", "Request")
        self.check("the window")
        for action, shown in [("downloads", "No Downloads"), ("site-information", re.compile("this computer")),
                              ("bookmark-page", "Name")]:
            self.frame.activate(f"win.{action}")
            self.browser.find("label", shown)
            self.check(action)
            self.browser.press("Escape")
            stage.until(lambda shown=shown: not self.browser.look("label", shown))

    def test_no_control_of_a_dialog_or_the_settings_is_without_a_name(self):
        for action, title in [("clear-data", "Clear Browsing Data"), ("passwords", "Passwords"),
                              ("earlier-sessions", "Earlier Sessions"), ("settings", "Settings")]:
            self.frame.activate(f"win.{action}")
            stage.until(lambda title=title: title in [window.name for window in self.browser.windows()])
            self.check(action)
            self.browser.press("Escape")
            stage.until(lambda title=title: title not in [window.name for window in self.browser.windows()])


class Panes(NamesTest):
    def focused(self):
        return next((trail for trail in self.controls(self.frame) if trail[-1].has("focused")), ())

    def test_f6_goes_around_the_window(self):
        self.frame.activate("win.agent-panel")
        self.browser.find("text", "Request")
        self.browser.press("ctrl+l")
        for _ in range(2):
            for name in ["Address", "Filter tabs", None, "Agent panel"]:
                def there(name=name):
                    names = [control.name for control in self.focused()]
                    return name in names if name else not {"Address", "Filter tabs", "Agent panel"} & set(names)
                stage.until(there)
                self.browser.press("F6")


if __name__ == "__main__":
    unittest.main(verbosity=2)
