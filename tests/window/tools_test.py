"""The page's tools as a person uses them. Usage: tools_test.py VALE [SUBJECT...]"""

import contextlib
import json
import re
import struct
import subprocess
import sys
import unittest

import accessible
import stage

VALE = sys.argv.pop(1)
HTML = "text/html; charset=utf-8"

PAGES = {
    "/green": (HTML, "<title>Green</title><body style='background:#3a7d44'>"),
    "/red": (HTML, "<title>Red</title><body style='background:#a01010'>"),
    "/words": (HTML, "<title>Words</title><p>Needle<p>hay<p>needle<p>hay<p style='margin-top:3000px'>needles"),
    "/script": (HTML, "<title>Script</title><script>document.title = 'Changed'</script>"),
    "/one-link": (HTML, "<title>Links</title><body style='margin:0'>"
                  "<a href='/green' target='_blank' style='display:block;height:300px'>link</a>"),
    "/links": (HTML, "<title>Links</title><body style='margin:0'>"
               + "".join(f"<a href='{link}' style='display:block;height:100px'>link</a>"
                         for link in ("/green?_<b>&amp;", "file:///etc/passwd", "vale://history"))),
}


class ToolsTest(unittest.TestCase):
    def setUp(self):
        self.folder, self.environment = self.enterContext(stage.stage())
        self.environment |= self.enterContext(accessible.buses(self.folder))
        self.server = stage.Server(PAGES)
        self.addCleanup(self.server.server_close)
        self.addCleanup(self.server.shutdown)

    def browse(self, path, title, *options):
        browser = self.enterContext(accessible.browser(
            VALE, self.environment, "--support", self.folder / "support", *options, self.server.address(path)))
        browser.find("frame", title)
        return browser


class Controls(ToolsTest):
    def test_controls_are_found_by_name_and_do_what_they_say(self):
        browser = self.browse("/green", "Green")
        browser.press("ctrl+t")
        browser.find("frame", "New tab")
        browser.find("list item", "New tab").find("button", "Close tab").activate()
        browser.find("frame", "Green")
        self.assertFalse(browser.find("button", "Back").sensitive)
        browser.press("ctrl+l")
        browser.find("text", "Address").set_text(self.server.address("/red"))
        browser.press("Return")
        browser.find("frame", "Red")
        browser.find("button", "Back").activate()
        browser.find("frame", "Green")


class Find(ToolsTest):
    def test_matches_are_counted_and_passed_around_the_ends(self):
        browser = self.browse("/words", "Words")
        browser.press("ctrl+f")
        entry = browser.find(name="Find in page")
        entry.set_text("needle")
        browser.find("label", "1 of 3")
        browser.find("button", "Next match").activate()
        browser.find("label", "2 of 3")
        for keys, told in [("F3", "3 of 3"), ("ctrl+g", "1 of 3"), ("shift+F3", "3 of 3"), ("shift+F3", "2 of 3")]:
            browser.press(keys)
            browser.find("label", told)
        browser.find("button", "Match case").activate()
        browser.find("label", "1 of 2")
        entry.set_text("nothing of the kind")
        browser.find("label", "No results")
        self.assertFalse(browser.find("button", "Next match").sensitive)
        browser.press("Escape")
        stage.until(lambda: browser.look("label", "No results") is None)


class Zoom(ToolsTest):
    def test_a_site_keeps_its_size(self):
        browser = self.browse("/green", "Green")
        for keys in ["ctrl+plus", "ctrl+equal"]:
            browser.press(keys)
        browser.find("button", "125 %")
        browser.press("ctrl+l")
        browser.find("text", "Address").set_text(self.server.address("/red"))
        browser.press("Return")
        browser.find("frame", "Red")
        browser.find("button", "125 %")
        kept = self.folder / "support" / "zoom.json"
        stage.until(kept.exists)
        [site] = json.loads(kept.read_text())["zoom"]
        self.assertEqual((site["site"], site["level"]), (self.server.address(""), 1.25))
        browser.find("button", "125 %").activate()
        stage.until(lambda: browser.look("button", re.compile("%")) is None)
        stage.until(lambda: json.loads(kept.read_text()) == {"zoom": []})


class Source(ToolsTest):
    def test_the_source_is_text_and_runs_nothing(self):
        browser = self.browse("/script", "Changed")
        address = self.server.address("/script")
        browser.press("ctrl+u")
        browser.find("frame", "view-source:" + address)
        browser.press("ctrl+f")
        browser.find(name="Find in page").set_text("<script>document.title")
        browser.find("label", "1 of 1")
        browser.press("Escape")
        browser.press("ctrl+w")
        browser.find("frame", "Changed")


class Saving(ToolsTest):
    def test_a_page_is_saved_whole_or_as_it_came(self):
        downloads = self.folder / "Downloads"
        downloads.mkdir()
        browser = self.browse("/words", "Words")
        for name, content in [("Words.mhtml", "MIME-Version"), ("as it came.html", PAGES["/words"][1])]:
            browser.press("ctrl+s")
            browser.find("button", "Save")
            browser.find("text", re.compile("Name")).set_text(name)
            browser.find("button", "Save").activate()
            browser.find("label", f"The page was saved as {downloads / name}.")
            self.assertIn(content, (downloads / name).read_text())


class Pictures(ToolsTest):
    def test_a_whole_page_becomes_a_picture_under_a_free_name(self):
        browser = self.browse("/words", "Words")
        folder = self.folder / "Pictures"
        for name in ["Words.png", "Words (1).png"]:
            browser.find("frame", "Words").activate("win.picture-of-page")
            browser.find("label", re.compile(re.escape(f"{folder}, as {name}")))
            width, height = struct.unpack(">II", (folder / name).read_bytes()[16:24])
            self.assertGreater(height, 3000)
        browser.find("frame", "Words").activate("win.picture-of-window")
        browser.find("label", re.compile(re.escape(f"{folder}, as Words (2).png")))
        self.assertGreater(stage.Picture(folder / "Words (2).png").width, 1000)


class Links(ToolsTest):
    def open_menu(self, browser, x, y):
        # The engine can miss a press after one that opened a menu: its release went to the menu.
        for _ in range(3):
            browser.click(x, y, button=3)
            with contextlib.suppress(AssertionError):
                return browser.find(name="Copy Link", seconds=5)
        return browser.find(name="Copy Link")

    def test_a_link_shows_where_it_leads_and_opens_only_what_a_page_may_reach(self):
        browser = self.browse("/links", "Links")
        for row, told, opens in [(0, re.compile(r"/green\?_<b>&$|/green\?_%3Cb%3E&$"), True),
                                 (1, "file:///etc/passwd", False), (2, "vale://history", False)]:
            browser.desktop("mousemove", 700, 100 + 100 * row)
            browser.find("label", told)
            self.open_menu(browser, 700, 100 + 100 * row)
            self.assertEqual(browser.look(name="Open Link in New Tab") is not None, opens)
            browser.press("Escape")
            stage.until(lambda: browser.look(name="Copy Link") is None)

    def test_ctrl_and_the_middle_button_open_a_tab_beside_and_shift_a_window(self):
        browser = self.browse("/one-link", "Links")
        tabs = lambda: len(list(browser.find("frame", "Links").all("list item", "Green")))
        for keys, button, count in [("ctrl", 1, 1), (None, 2, 2)]:
            self.click_until(browser, keys, button, lambda count=count: tabs() >= count)
            self.assertIsNone(browser.look("frame", "Green"))
        self.click_until(browser, "shift", 1, lambda: browser.look("frame", "Green"))
        self.assertTrue(browser.look("frame", "Links"))
        browser.press("ctrl+l")
        browser.look("frame", "Green").find("text", "Address").set_text(self.server.address("/red"))
        browser.press("shift+Return")
        browser.find("frame", "Red")
        self.assertTrue(browser.look("frame", "Green"), "the tab keeps its page")

    def test_a_private_page_opens_private_windows(self):
        browser = self.browse("/one-link", "Links — Private", "--private")
        self.click_until(browser, "shift", 1, lambda: browser.look("frame", "Green — Private"))
        self.assertIsNone(browser.look("frame", "Green"))

    def click_until(self, browser, keys, button, done):
        # A press may come before the page is on the screen.
        for _ in range(3):
            held = [("keydown", keys), ("keyup", keys)] if keys else [(), ()]
            browser.desktop(*held[0], "mousemove", 700, 100, "click", button, *held[1])
            with contextlib.suppress(TimeoutError):
                return stage.until(done, 5)
        return stage.until(done)


class HandedOver(ToolsTest):
    def test_a_link_from_another_program_opens_in_the_running_browser_but_not_in_a_private_window(self):
        browser = self.enterContext(accessible.browser(VALE, self.environment, self.server.address("/green")))
        browser.find("frame", "Green")
        browser.press("ctrl+shift+n")
        browser.find("frame", re.compile("— Private$"))
        second = subprocess.run([VALE, self.server.address("/red")], env=self.environment, timeout=60)
        self.assertEqual(second.returncode, 0)
        browser.find("frame", "Red")
        self.assertIsNone(browser.look("frame", "Green"), "it has its tab in the window that was there")
        self.assertTrue(browser.look("frame", re.compile("^New tab — Private$")))


if __name__ == "__main__":
    unittest.main(verbosity=2)
