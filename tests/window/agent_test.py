"""The agent panel as a person uses it, with an agent that replays what a real one said. Usage: agent_test.py VALE
[SUBJECT...]"""

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
*json-schema*) cat > "{folder}/routing"; echo '{route}';;
*) cat > "{folder}/task"; cat "{stream}";;
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
        route = self.ROUTE | {"project_id": str(self.kitchen) if self.ROUTE["mode"] == "project" else None}
        result = json.dumps({"type": "result", "subtype": "success", "is_error": False, "result": "",
                             "structured_output": route})
        agent = self.folder / ".local" / "bin" / "claude"
        agent.parent.mkdir(parents=True)
        agent.write_text(CLAUDE.format(folder=self.folder, route=result, stream=STREAMS / f"{self.STREAM}.jsonl"))
        agent.chmod(0o755)

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
        browser.find("text", "Request").set_text("and tidy up")
        browser.find("button", "Send").activate()
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


if __name__ == "__main__":
    unittest.main(verbosity=2)
