"""The agent panel as a person uses it, with an agent that replays what a real one said. Usage: agent_test.py VALE
[SUBJECT...]"""

import contextlib
import json
import pathlib
import re
import sys
import tempfile
import unittest

import accessible
import stage

VALE = sys.argv.pop(1)
STREAMS = pathlib.Path(__file__).parent.parent / "fixtures" / "streams"
PAGES = {"/soup": ("text/html; charset=utf-8", "<title>Soup</title><p>Take three leeks.")}

CLAUDE = """#!/bin/sh
case "$1 $2" in
'--version ') echo '9.9.9 (scripted)'; exit;;
'auth status') echo '{{"loggedIn":true,"authMethod":"api_key"}}'; exit;;
esac
case "$*" in
*json-schema*) cat > "{folder}/routing"; cat "{folder}/route";;
*) cat > "{folder}/task"; while [ -e "{folder}/hold" ]; do sleep 0.1; done; cat "{stream}";;
esac
"""


class AgentTest(unittest.TestCase):
    STREAM = "claude-task-readonly-tool"
    ROUTE = {"mode": "project", "confidence": 0.9, "reason": "Recipes live there.", "candidates": [], "title": "Leeks"}

    def setUp(self):
        self.folder, self.environment = self.enterContext(stage.stage())
        self.environment |= self.enterContext(accessible.buses(self.folder))
        self.server = stage.Server(PAGES)
        self.addCleanup(self.server.server_close)
        self.addCleanup(self.server.shutdown)
        self.support = self.folder / "support"
        # Folders for what does not last are no projects.
        place = self.enterContext(tempfile.TemporaryDirectory(dir=pathlib.Path(VALE).resolve().parent))
        self.kitchen = pathlib.Path(place) / "kitchen"
        self.kitchen.mkdir()
        self.support.mkdir()
        added = [{"folder": str(self.kitchen), "addedAt": "2026-11-20T10:00:00Z"}]
        (self.support / "projects.json").write_text(json.dumps({"version": 1, "added": added, "hidden": []}))

    def install_agent(self):
        self.route()
        agent = self.folder / ".local" / "bin" / "claude"
        agent.parent.mkdir(parents=True)
        agent.write_text(CLAUDE.format(folder=self.folder, stream=STREAMS / f"{self.STREAM}.jsonl"))
        agent.chmod(0o755)

    def route(self, **changes):
        """What the router answers from now on."""
        route = self.ROUTE | changes
        route["project_id"] = str(self.kitchen) if route["mode"] == "project" else None
        (self.folder / "route").write_text(json.dumps({
            "type": "result", "subtype": "success", "is_error": False, "result": "", "structured_output": route}))

    def send(self, browser, words, button="Send"):
        browser.find("text", "Request").set_text(words)
        browser.find("button", button).activate()

    def browse(self):
        browser = self.enterContext(accessible.browser(
            VALE, self.environment, "--support", self.support, self.server.address("/soup")))
        browser.find("frame", "Soup")
        return browser

    def threads(self):
        files = (self.support / "Threads").glob("*.json")
        return [json.loads(file.read_text()) for file in files]

    def ended(self, turns):
        def look():
            for thread in self.threads():
                if len(thread["turns"]) == turns and all(turn["status"] != "running" for turn in thread["turns"]):
                    return thread
        return stage.until(look)


class Requests(AgentTest):
    def test_a_request_from_the_address_entry_lands_in_its_project_with_its_page(self):
        self.install_agent()
        browser = self.browse()
        browser.press("ctrl+l")
        browser.find("text", "Address").set_text("add this soup")
        browser.press("ctrl+Return")
        browser.find(name=re.compile("Conversations. Shown: Leeks"))
        thread = self.ended(1)
        self.assertEqual(thread["projectPath"], str(self.kitchen))
        self.assertEqual(thread["turns"][0]["prompt"], "add this soup")
        self.assertEqual(thread["turns"][0]["access"], "readOnly")
        for asked in ("routing", "task"):
            self.assertIn("three leeks", (self.folder / asked).read_text())
        browser.find("label", re.compile("^Read only · With the page “Soup”"))
        browser.find("label", re.compile("Claude Code · .* tokens in"))

        # The next one goes on there, without the page.
        self.send(browser, "and tidy up")
        thread = self.ended(2)
        self.assertEqual(thread["turns"][1]["prompt"], "and tidy up")
        self.assertNotIn("three leeks", (self.folder / "task").read_text())

        # A new conversation, and back by the list.
        browser.find("button", "New Conversation").activate()
        browser.find(name=re.compile("Conversations. Shown: New conversation"))
        browser.press("ctrl+shift+a")
        stage.until(lambda: not browser.look("text", "Request"))


class Unsure(AgentTest):
    ROUTE = {"mode": "clarify", "confidence": 0.2, "reason": "It may be anything.", "candidates": [],
             "title": "Leeks"}

    def test_the_user_chooses_where_the_router_is_not_sure(self):
        self.install_agent()
        browser = self.browse()
        browser.press("ctrl+shift+a")
        browser.find("text", "Request").set_text("do it")
        browser.press("Return")
        browser.find("label", re.compile("Which project|routing answer"), seconds=30)
        browser.find("button", "kitchen").activate()
        self.assertEqual(self.ended(1)["projectPath"], str(self.kitchen))


class Missing(AgentTest):
    def test_without_an_agent_the_panel_says_how_to_get_one(self):
        browser = self.browse()
        browser.press("ctrl+shift+a")
        browser.find("label", re.compile("Install Claude Code"))
        self.install_agent()
        browser.find("button", "Check Again").activate()
        browser.find("label", re.compile("^Ask for anything"))
        self.assertFalse(self.threads())


class Line(AgentTest):
    def waiting(self, browser):
        removers = browser.all("button", re.compile("^Remove “"))
        return [remover.name.removeprefix("Remove “").removesuffix("”") for remover in removers]

    def test_what_waits_is_moved_changed_and_removed(self):
        self.install_agent()
        (self.folder / "hold").touch()
        browser = self.browse()
        browser.press("ctrl+shift+a")
        self.send(browser, "first")
        for words in ("a", "b", "c"):
            browser.find("button", "Queue", showing=False)
            self.send(browser, words, "Queue")
            browser.find("button", f"Remove “{words}”")
        browser.find("button", "Send “a” later").activate()
        stage.until(lambda: self.waiting(browser) == ["b", "a", "c"])
        # The key is pressed again for the next step, and back from the end.
        stage.until(lambda: browser.find("button", "Send “a” later").has("focused"))
        browser.press("space")
        stage.until(lambda: self.waiting(browser) == ["b", "c", "a"])
        stage.until(lambda: browser.find("button", "Send “a” earlier").has("focused"))

        # What was being written is there again after another request was changed, or left.
        browser.find("text", "Request").set_text("a draft")
        browser.find("button", "Edit “c”").activate()
        stage.until(lambda: browser.find("text", "Request").text == "c")
        self.send(browser, "c2", "Change")
        stage.until(lambda: self.waiting(browser) == ["b", "c2", "a"])
        browser.find("button", "Edit “a”").activate()
        stage.until(lambda: browser.find("text", "Request").text == "a")
        browser.find("button", "Cancel").activate()
        stage.until(lambda: browser.find("text", "Request").text == "a draft")
        browser.find("button", "Remove “b”").activate()
        stage.until(lambda: self.waiting(browser) == ["c2", "a"])
        (self.folder / "hold").unlink()
        self.assertEqual([turn["prompt"] for turn in self.ended(3)["turns"]], ["first", "c2", "a"])


class Keyboard(AgentTest):
    def list_is_open(self, browser):
        menu = list(browser.all("button", re.compile("^Conversations")))[-1]
        menu.activate()
        stage.until(lambda: browser.find("entry", "Find a conversation").has("focused"))

    def test_the_panel_is_reached_used_and_left_without_the_pointer(self):
        self.install_agent()
        browser = self.browse()
        browser.press("ctrl+shift+a")
        self.send(browser, "add this soup")
        self.ended(1)
        # A card tells what it is and how it stands.
        browser.find("button", re.compile("^(Read|Search|List|Find).*: Done$"))
        browser.find("button", "New Conversation").activate()
        self.route(title="Bread")
        self.send(browser, "bake")
        browser.find(name="Conversations. Shown: Bread")

        self.list_is_open(browser)
        browser.type("leek kitchen")
        stage.until(lambda: [row.name for row in browser.all("list item") if row.name in ("Leeks", "Bread")] == ["Leeks"])
        browser.press("Down")
        stage.until(lambda: browser.find("list item", "Leeks").has("focused"))
        browser.press("Return")
        browser.find(name="Conversations. Shown: Leeks")
        stage.until(lambda: browser.find("text", "Request").has("focused"))

        browser.press("Escape")
        stage.until(lambda: not browser.find("text", "Request").has("focused"))
        browser.press("F6")
        stage.until(lambda: browser.find("text", "Request").has("focused"))
        browser.press("F6")
        stage.until(lambda: browser.find("text", "Address").has("focused"))

        self.list_is_open(browser)
        browser.press("Down", "Delete")
        browser.find("button", "Delete", showing=False).activate()
        stage.until(lambda: [thread["title"] for thread in self.threads()] == ["Leeks"])


class Selection(AgentTest):
    def attach(self, browser):
        # The engine can miss a press after one that opened a menu: its release went to the menu.
        for _ in range(3):
            browser.click(500, 400)
            browser.press("ctrl+a")
            browser.click(500, 90, button=3)
            with contextlib.suppress(AssertionError):
                browser.find("menu item", "Ask an Agent about the Selection", seconds=5).activate()
                return browser.find("label", re.compile("election: .*three leeks"))
        raise AssertionError(browser.tree())

    def test_what_is_selected_goes_along_in_place_of_the_page(self):
        self.install_agent()
        browser = self.browse()
        self.attach(browser)
        stage.until(lambda: browser.find("text", "Request").has("focused"))
        self.assertIsNone(browser.look("label", "This page"))
        self.send(browser, "what is this")
        self.ended(1)
        self.assertIn("User-selected text: ", (self.folder / "task").read_text())
        browser.find("label", re.compile("With selection of the page “Soup”"))
        stage.until(lambda: not browser.look("label", re.compile("election: ")))


if __name__ == "__main__":
    unittest.main(verbosity=2)
