"""What pages ask, and how the user answers. Usage: questions_test.py VALE [SUBJECT...]"""

import base64
import json
import re
import sys
import unittest

import accessible
import stage
from site_server import Site, certificate

VALE = sys.argv.pop(1)


class QuestionsTest(unittest.TestCase):
    def setUp(self):
        self.folder, self.environment = self.enterContext(stage.stage())
        self.environment |= self.enterContext(accessible.buses(self.folder))

    def site(self, answer, certificate=None):
        site = Site(answer, certificate)
        self.addCleanup(site.close)
        return site

    def browse(self, *arguments):
        return self.enterContext(accessible.browser(VALE, self.environment, "--support", self.folder / "kept",
                                                    *arguments))

    def page(self, script):
        return self.site(lambda *_: (200, {}, f"<title>Asks</title><script>{script}</script>"))

    def heard(self, site, path):
        stage.until(lambda: path in site.asked)


class Certificate(QuestionsTest):
    def test_the_user_alone_goes_on_and_can_take_it_back(self):
        site = self.site(lambda *_: (200, {}, "<title>Reached</title>"), certificate(self.folder))
        browser = self.browse(site.address("/", "localhost"))
        browser.find("frame", "This connection is not secure")
        back = browser.find("button", "Go Back")
        back.focus()
        stage.until(lambda: back.has("focused"))
        browser.press("Tab", "space")
        browser.find("label", "It comes from nobody that this computer trusts.")
        browser.find("label", "localhost")
        self.assertEqual(site.asked, [])
        browser.find("label", re.compile("^Whoever stands between you and “localhost”"))
        browser.find("button", "Continue Anyway").activate()
        browser.find("frame", "Reached")
        browser.press("ctrl+alt+i")
        browser.find("button", "Forget the Exception").activate()
        browser.find("frame", "This connection is not secure")


class Permission(QuestionsTest):
    ASKS = ("navigator.geolocation.getCurrentPosition(() => fetch('/+'), one => fetch('/-' + one.code));"
            "onhashchange = () => navigator.geolocation.getCurrentPosition(() => {}, one => fetch('/again'))")

    def test_a_refusal_is_remembered_and_can_be_taken_back(self):
        site = self.page(self.ASKS)
        question = re.compile("^127.0.0.1:[0-9]+ wants to know where you are.$")
        with accessible.browser(VALE, self.environment, "--support", self.folder / "kept", site.address()) as browser:
            browser.find("label", question)
            self.assertEqual(len(list(browser.all("button", "Block"))), 1)
            self.assertNotIn("/-1", site.asked)
            browser.find("button", "Block").activate()
            self.heard(site, "/-1")
            self.assertIsNone(browser.look("label", question))
        kept = json.loads((self.folder / "kept" / "permissions.json").read_text())["permissions"]
        self.assertEqual([(one["kind"], one["decision"]) for one in kept], [("location", "deny")])
        site.asked.clear()
        with accessible.browser(VALE, self.environment, "--support", self.folder / "kept", site.address("/?2")) as browser:
            self.heard(site, "/-1")
            self.assertIsNone(browser.look("label", question))
            browser.press("ctrl+alt+i")
            browser.find("button", "Reset Permissions").activate()
            stage.until(lambda: (reset := browser.look("button", "Reset Permissions")) and not reset.sensitive)

            def close():
                browser.press("Escape")
                return not browser.look("button", "Reset Permissions")
            stage.until(close)
            browser.press("F5")
            browser.find("label", question)

    def test_a_private_window_keeps_its_answers_to_itself(self):
        site = self.page(self.ASKS)
        with accessible.browser(VALE, self.environment, "--support", self.folder / "kept", "--private",
                                site.address()) as browser:
            browser.find("button", "Block").activate()
            self.heard(site, "/-1")
        file = self.folder / "kept" / "permissions.json"
        self.assertFalse(file.exists() and "127.0.0.1" in file.read_text())


class Password(QuestionsTest):
    def test_a_server_gets_what_the_user_enters_after_a_wrong_try(self):
        given = []

        def answer(path, headers):
            given.append(headers.get("Authorization"))
            if given[-1] == self.header("se:cret"):
                return 200, {}, "<title>Inside</title><script>fetch('/inside')</script>"
            return 401, {"WWW-Authenticate": "Basic realm=\"<b>x</b>" + "y" * 5000 + "\""}, "<title>Outside</title>"

        site = self.site(answer)
        browser = self.browse(site.address())
        browser.find("label", re.compile("^The server 127.0.0.1:[0-9]+ wants a name and a password. It calls this “<b>x</b>yy"))
        for password in ["wrong", "se:cret"]:
            browser.find("text", "User name").set_text("ann")
            browser.find("password text", "Password").set_text(password)
            browser.find("button", "Sign In").activate()
            stage.until(lambda: self.header(password) in given)
            if password == "wrong":
                browser.find("label", re.compile("^The name or the password was not right"))
        self.heard(site, "/inside")
        self.assertIsNone(given[0])

    def header(self, password):
        return "Basic " + base64.b64encode(f"ann:{password}".encode()).decode()


class Dialogs(QuestionsTest):
    def test_a_page_speaks_as_itself_and_can_be_stopped(self):
        site = self.page("const say = text => new Promise(done => setTimeout(() => { alert(text); done() }));"
                         "(async () => { await say('<b>one</b>' + ' two'.repeat(2000)); "
                         "fetch('/' + prompt('three', 'old') + confirm('four')); await say('five'); fetch('/end') })()")
        browser = self.browse(site.address())
        title = re.compile("^A page at 127.0.0.1:[0-9]+ says$")
        browser.find("label", title)
        browser.find("label", re.compile("^<b>one</b> two two"))
        self.assertIsNone(browser.look("check box", re.compile("Block more")))
        browser.find("button", "OK").activate()
        browser.find("label", "three")
        browser.find("text", "Answer").set_text("new")
        browser.find("button", "OK").activate()
        browser.find("label", "four")
        browser.find("check box", re.compile("Block more dialogs from this page"))
        browser.press("alt+b")
        # Another tab is not held up, and has none of it.
        browser.press("ctrl+t")
        stage.until(lambda: browser.look("frame", "Asks") is None)
        browser.press("ctrl+w")
        browser.find("frame", "Asks")
        browser.find("button", "Cancel").activate()
        self.heard(site, "/newfalse")
        self.heard(site, "/end")


class Popup(QuestionsTest):
    def test_what_nobody_asked_for_waits_for_the_user(self):
        site = self.site(lambda path, _: (200, {}, "<title>Other</title>" if path == "/z" else
                                          "<title>Asks</title><script>open('/z'); open('/z'); open('vale://history')"
                                          "</script>"))
        browser = self.browse(site.address())
        browser.find("label", re.compile("^[23] pop-up windows were blocked on 127.0.0.1"))
        self.assertNotIn("/z", site.asked)
        browser.find("button", "Always Allow for This Site").activate()
        browser.find("frame", "Other")
        kept = self.folder / "kept" / "permissions.json"
        stage.until(lambda: kept.exists() and '"popups"' in kept.read_text())


if __name__ == "__main__":
    unittest.main(verbosity=2)
