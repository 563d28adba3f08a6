"""Bookmarks in the window and on their page. Usage: bookmarks_test.py VALE [SUBJECT...]"""

import json
import re
import sys
import unittest

import accessible
import stage

VALE = sys.argv[1]

import window_test  # noqa: E402  (it takes VALE out of the arguments)

EXPORTED = """<!DOCTYPE NETSCAPE-Bookmark-file-1>
<DL><p><DT><H3 PERSONAL_TOOLBAR_FOLDER="true">Bar</H3><DL><p>
<DT><A HREF="https://one.example/">One &lt;i&gt;</A>
<DT><A HREF="javascript:alert(1)">Script</A>
<DT><H3>Deep</H3><DL><p><DT><A HREF="https://two.example/">Two</A></DL><p></DL><p></DL><p>"""


def kept(support):
    try:
        return json.loads((support / "Library" / "bookmarks.json").read_text())
    except OSError:
        return {"bookmarks": []}


class Window(unittest.TestCase):
    def setUp(self):
        self.folder, self.environment = self.enterContext(stage.stage())
        self.environment |= self.enterContext(accessible.buses(self.folder))
        self.support = self.folder / "support"
        self.server = stage.Server(window_test.PAGES)
        self.addCleanup(self.server.server_close)
        self.addCleanup(self.server.shutdown)

    def browse(self, path):
        return self.enterContext(accessible.browser(
            VALE, self.environment, "--support", self.support, self.server.address(path)))

    def titles(self):
        return [one["title"] for one in kept(self.support)["bookmarks"]]

    def test_a_page_is_bookmarked_edited_opened_from_the_bar_and_removed(self):
        browser = self.browse("/green")
        browser.find("frame", "Green")
        browser.press("ctrl+d")
        browser.find("label", "Bookmark Added")
        name = browser.find("text", "Name")
        stage.until(lambda: self.titles() == ["Green"])
        name.set_text("Grass <b>")
        browser.find("button", "Done").activate()
        stage.until(lambda: self.titles() == ["Grass <b>"])
        browser.press("ctrl+shift+b")
        browser.find("button", "Grass <b>")
        browser.press("ctrl+l")
        browser.find("text", "Address").set_text(self.server.address("/red"))
        browser.press("Return")
        browser.find("frame", "Red")
        browser.find("button", "Grass <b>").activate()
        browser.find("frame", "Green")
        browser.press("ctrl+d")
        browser.find("label", "Edit Bookmark")
        browser.find("button", "Remove").activate()
        stage.until(lambda: self.titles() == [])
        browser.find("label", re.compile("Press Ctrl"))

    def test_all_tabs_go_into_a_folder(self):
        browser = self.browse("/green")
        browser.find("frame", "Green")
        browser.press("alt+d")
        browser.find("text", "Address").set_text(self.server.address("/red"))
        browser.press("alt+Return")
        browser.find("frame", "Red")
        browser.press("ctrl+shift+d")
        browser.find("text", "Name of the folder").set_text("Colours › all")
        browser.find("button", "Bookmark").activate()
        stage.until(lambda: self.titles() == ["Green", "Red"])
        self.assertEqual(kept(self.support)["folders"], ["Colours > all"])

    def test_another_browsers_bookmarks_come_in_from_its_file(self):
        exported = self.folder / "bookmarks.html"
        exported.write_text(EXPORTED)
        browser = self.browse("/green")
        browser.find("frame", "Green")
        browser.press("ctrl+shift+b")
        browser.find("button", "Import…").activate()
        browser.find("button", "Cancel")
        browser.type(exported)
        browser.press("Return")
        browser.find("label", "2 bookmarks imported; 1 left out, whose address Vale does not open.")
        browser.find("button", "One <i>")
        browser.find("button", "Deep")
        stage.until(lambda: self.titles() == ["One <i>", "Two"])

    def test_an_unreadable_file_is_said_where_bookmarks_are_made(self):
        (self.support / "Library").mkdir(parents=True)
        broken = self.support / "Library" / "bookmarks.json"
        broken.write_text("{")
        browser = self.browse("/green")
        browser.find("frame", "Green")
        browser.press("ctrl+d")
        browser.find("label", re.compile("Could not read the bookmarks. The original file is preserved."))
        self.assertEqual(broken.read_text(), "{")


class Page(window_test.Driven):
    def arguments(self):
        return ["--support", str(self.folder / "kept")]

    def start(self):
        library = self.folder / "kept" / "Library"
        library.mkdir(parents=True, exist_ok=True)
        marks = [{"id": f"00000000-0000-4000-8000-00000000000{number}", "title": title, "url": self.server.address(path),
                  **({"folder": folder} if folder else {})}
                 for number, (title, path, folder) in enumerate([
                     ("<img src=x onerror=alert(1)>", "/green", ""), ("Red", "/red", ""), ("Long", "/long", "A › B")])]
        (library / "bookmarks.json").write_text(json.dumps({"bookmarks": marks}))
        super().start()

    def kept(self):
        return kept(self.folder / "kept")

    def listed(self):
        return self.script("return [...document.querySelectorAll('li.mark a')].map(one => one.textContent)")

    def click(self, text, within="body"):
        self.script(f"[...document.querySelectorAll('{within} button')]"
                    f".find(one => one.textContent.startsWith({json.dumps(text)})).click()")

    def test_bookmarks_are_listed_found_edited_and_brought_back(self):
        self.ask("POST", "/url", {"url": "vale://bookmarks"})
        hostile = "<img src=x onerror=alert(1)>"
        stage.until(lambda: self.listed() == [hostile, "Red"])
        self.assertEqual(self.script("return document.querySelectorAll('li.mark img').length"), 0)
        self.script("const box = document.getElementById('search'); box.value = 'LONG b'; box.dispatchEvent(new Event('input'))")
        stage.until(lambda: self.listed() == ["Long"])
        self.click("Bookmarks Bar", "#folders")
        stage.until(lambda: self.listed() == [hostile, "Red"])
        self.click("Edit", "li.mark")
        self.script("const form = document.querySelector('form.edit'); form.querySelector('input').value = 'Grass'; "
                    "form.querySelector('select').value = 'A'; form.requestSubmit()")
        stage.until(lambda: self.listed() == ["Red"])
        stage.until(lambda: any((one["title"], one.get("folder")) == ("Grass", "A") for one in self.kept()["bookmarks"]))
        self.click("A", "#folders")
        stage.until(lambda: self.listed() == ["Grass"])
        self.click("Remove Folder", "#tools")
        stage.until(lambda: len(self.kept()["bookmarks"]) == 1)
        self.script("document.querySelector('#notice button').click()")
        stage.until(lambda: sorted(one["title"] for one in self.kept()["bookmarks"]) == ["Grass", "Long", "Red"])
        self.assertEqual(self.kept()["folders"], ["A", "A › B"])
        self.click("New Folder")
        self.script("const form = document.querySelector('#folders form'); form.querySelector('input').value = 'New'; "
                    "form.requestSubmit()")
        stage.until(lambda: "New" in self.kept()["folders"])
        self.ask("DELETE", "")


if __name__ == "__main__":
    unittest.main(verbosity=2)
