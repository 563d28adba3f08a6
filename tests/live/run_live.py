#!/usr/bin/env python3
"""Drives the two real agent CLIs through valectl, against a scripted model service here.

    run_live.py --valectl PATH --clis DIR [--completion PATH] [unittest arguments, such as -k resume]

Every program is started with an environment of its own, a home folder made for this run and a mark in its
environment; after each one, no process that carries the mark and no temporary file may be left.

The program given with --completion is called as SCHEMA_FILE PROMPT. It asks Claude Code twice, the second
time by a process that was started ahead, and prints a line as of `valectl ask --json` for each.
"""
import argparse
import json
import pathlib
import signal
import subprocess
import sys
import unittest
import uuid

from model_server import TEXT, THOUGHT
# Named for the test runner, which takes the cases that this module has.
from questions import (ClaudeGrouping, ClaudeQuestions, ClaudeRouting, CodexGrouping, CodexQuestions,  # noqa: F401
                       CodexRouting)
from stand import FILE_TOOLS, PNG, PRODUCT, UUID, Case, Setting


class Runs(Case):
    def test_agents_tells_what_is_installed_and_signed_in(self):
        agents = json.loads(self.program([self.setting.valectl, "agents", "--json"]).stdout)
        self.assertEqual([agent["provider"] for agent in agents], ["codex", "claude"])
        agent = next(agent for agent in agents if agent["provider"] == self.provider)
        link = self.setting.home / ".local/bin" / self.provider
        self.assertEqual(agent["executable"], str(link))
        printed = subprocess.check_output([link, "--version"], env=self.setting.environment(), text=True)
        self.assertIn(agent["version"], printed.split())
        self.assertEqual((agent["name"], agent["signedIn"], agent["isReady"]),
                         (PRODUCT[self.provider], True, True))
        self.assertRegex(agent["method"].lower(), "api.?key")

        signed_out = {"ANTHROPIC_API_KEY": None, "CODEX_HOME": self.setting.folder / "signed-out"}
        run = self.program([self.setting.valectl, "agents", "--json"], environment=signed_out)
        for agent in json.loads(run.stdout):
            self.assertEqual((agent["signedIn"], agent["isReady"]), (False, False), agent)
            self.assertIn("login", agent["message"])

    def test_events_follow_the_run_in_order(self):
        run = self.ask("SCENARIO=think PACE=0.1")
        kinds = [event["event"] for event in run.events()]
        self.assertEqual(kinds[-2:], ["ended", "finished"], run)
        self.assertLess(kinds.index("thinking"), kinds.index("text"))
        self.assertEqual((run.words(), run.words("thinking")), (TEXT, THOUGHT))
        if self.provider == "claude":  # Codex prints whole messages only.
            pieces = [when for when, kind in zip(run.times, kinds) if kind == "text"]
            self.assertGreaterEqual(pieces[-1] - pieces[0], 0.5, "the text came all at once")
        self.assertEqual(run.events("ended"), [{"event": "ended", "success": True}])
        last = run.events()[-1]
        self.assertEqual((last["status"], last["exitCode"]), ("completed", 0))
        self.assertRegex(last["sessionID"], UUID)
        cached = {"claude": 50, "codex": 80}[self.provider]
        self.assertEqual((last["usage"]["inputTokens"], last["usage"]["cachedInputTokens"]), (200, cached))
        self.assertIn("untrusted data", run.requests[-1]["system"])

    def test_plain_output_holds_the_answer_once(self):
        for arguments in ([], ["-"]):
            run = self.ask(None, *arguments, events=False, stdin="SCENARIO=think\n")
            self.assertEqual(run.stdout.strip(), TEXT, run)
            self.assertEqual(run.stderr.count(THOUGHT), 1, run)
            self.assertNotIn(TEXT, run.stderr)

    def test_a_file_is_read_through_a_tool(self):
        file = self.setting.project / "README.md"
        run = self.ask(f"SCENARIO=read FILE={file}")
        self.assertIn("The marker is 4711.", run.words())
        calls = [event["tool"] for event in run.events("tool")]
        self.assertEqual([call["status"] for call in calls], ["running", "completed"], run)
        self.assertEqual(len({call["id"] for call in calls}), 1)
        self.assertEqual((calls[-1]["kind"], calls[-1]["summary"]), ("read", "Read README.md"))
        self.assertIn("4711", calls[-1]["resultPreview"])
        self.assertTrue(any("Read" in line or "README" in line for line in run.events()[-1]["activity"]), run)

    def test_files_change_only_where_writing_is_allowed(self):
        made = self.setting.project / f"made-by-{self.provider}.txt"
        self.ask(f"SCENARIO=write FILE={made} CONTENT=hello")
        self.assertFalse(made.exists())
        run = self.ask(f"SCENARIO=write FILE={made} CONTENT=hello", "--write")
        self.assertEqual(made.read_text(), "hello\n")
        last = run.events("tool")[-1]["tool"]
        self.assertEqual((last["status"], last["kind"], last["files"]), ("completed", "edit", [made.name]))
        self.assertIn(made.name, last["summary"])

    def test_a_resumed_session_remembers(self):
        session = self.ask("The number 4242 is mine.").events()[-1]["sessionID"]
        run = self.ask("SCENARIO=remember", "--resume", session)
        last = run.events()[-1]
        self.assertEqual(run.words(), "The number was 4242.")
        self.assertEqual((last["sessionID"].lower(), last["usage"]["inputTokens"]), (session.lower(), 200))
        run = self.ask("SCENARIO=remember", "--resume", str(uuid.uuid4()), events=False, code=1)
        self.assertRegex(run.stderr, "No conversation found|no rollout found")

    def test_what_cannot_run_is_refused_before_it_starts(self):
        gone = "gone folder isn’t where it was. Choose another project, or add the folder again."
        for prompt, options, sentence in (
                ("Hello", ["--resume", "today"], "This session does not have a valid resumable identifier."),
                ("Hello", ["--project", self.setting.folder / "gone"], gone),
                ("  \n ", [], "Enter a prompt first."), (None, [], "Enter a prompt first.")):
            run = self.ask(prompt, *options, events=False, code=1)
            self.assertEqual((run.stderr.strip(), run.requests), (f"valectl: {sentence}", []), run)

    def test_an_error_of_the_service_reaches_the_user_once(self):
        sentences = {400: "Scripted failure 400", 401: "Scripted failure 401", 429: "Scripted failure 429"}
        if self.provider == "codex":
            del sentences[401]  # It tries that one again for seven seconds.
            sentences[429] = "429 Too Many Requests"
        for status, sentence in sentences.items():
            run = self.ask(f"SCENARIO=error STATUS={status}", events=False, code=1)
            self.assertEqual((run.stdout + run.stderr).count(sentence), 1, run)
            self.assertNotIn('"error"', run.stderr)
        run = self.ask("SCENARIO=error STATUS=400", code=1)
        last = run.events()[-1]
        self.assertEqual((last["status"], run.events("ended")[0]["success"]), ("failed", False))
        self.assertIn("Scripted failure 400", last["message"])

    def test_a_stream_that_broke_off_is_no_failure_when_the_cli_recovers(self):
        run = self.ask(f"SCENARIO=cut KEY={uuid.uuid4()}")
        self.assertEqual((run.events()[-1]["status"], run.events("error")), ("completed", []), run)
        self.assertEqual(run.words().splitlines()[-1], TEXT)

    def test_an_image_arrives_unchanged(self):
        run = self.ask("What is this?", "--image", self.setting.folder / "dot.png")
        self.assertEqual(run.requests[-1]["images"], [{"type": "image/png", "data": PNG}])

    def test_model_effort_and_toolless_runs(self):
        model, before = {"claude": "sonnet", "codex": "gpt-5.5"}[self.provider], self.sessions()
        for option in ("--ephemeral", "--page"):
            run = self.ask("Hello", option, "--model", model, "--effort", "high")
            request = run.requests[-1]
            self.assertEqual((model in request["model"], request["effort"]), (True, "high"), request["model"])
            self.assertEqual(FILE_TOOLS & set(request["tools"]), set())
            self.assertEqual(self.sessions() == before, option == "--ephemeral")

    def test_cancelling_ends_every_process_of_the_run(self):
        def streaming(run):
            return any(request["scenario"] == "slow" for request in self.setting.server.requests)

        def command_running(run):
            return any(command.startswith("tail -f") for command in run.processes().values())

        for prompt, options, until, send in (
                ("SCENARIO=slow", [], streaming, signal.SIGINT),
                ("SCENARIO=command RUN=tail+-f+README.md", ["--write", "--anywhere"], command_running,
                 signal.SIGTERM)):
            self.setting.server.requests.clear()
            run = self.ask(prompt, *options, until=until, send=send, code=130)
            self.assertTrue(run.happened, run)
            self.assertLess(run.seconds, 6)
            self.assertEqual(run.events()[-1]["status"], "cancelled", run)


class Claude(Runs, unittest.TestCase):
    provider = "claude"

    def test_a_denied_call_is_told(self):
        run = self.ask(f"SCENARIO=write FILE={self.setting.folder}/new.md CONTENT=x", "--write")
        usage, activity = run.events()[-1]["usage"], "\n".join(run.events()[-1]["activity"])
        self.assertEqual((usage["permissionDenials"], usage["denials"][0]["toolName"]), (1, "Write"), run)
        self.assertIn("1 tool action(s) denied", activity)
        self.assertIn(run.events("tool")[-1]["tool"]["status"], ("failed", "denied"))

    def test_being_signed_out_is_told_once_and_a_moved_configuration_is_kept(self):
        run = self.ask("Hello", events=False, code=1, environment={"ANTHROPIC_API_KEY": None})
        self.assertEqual((run.stdout + run.stderr).count("Not logged in"), 1, run)
        moved = self.setting.folder / "configuration"
        self.ask("Hello", environment={"CLAUDE_CONFIG_DIR": moved, "CLAUDECODE": "1"})
        self.assertEqual(len(list(moved.glob("projects/*/*.jsonl"))), 1)


class Codex(Runs, unittest.TestCase):
    provider = "codex"

    def test_the_first_ready_provider_is_the_default(self):
        run = self.program([self.setting.valectl, "run", *self.service(), "Hello"])
        self.assertEqual((run.stdout.strip(), run.requests[-1]["path"]), (TEXT, "/v1/responses"))


class Threads(Case):
    def threads(self, *arguments, **how):
        return json.loads(self.program([self.setting.valectl, "threads", *arguments, "--json"], **how).stdout)

    def test_a_conversation_goes_on_over_restarts_a_cancelled_turn_and_an_undone_one(self):
        first = self.ask("The number 77 is mine.", "--thread", "new")
        self.assertEqual(first.words(), TEXT, first)
        thread = first.events("thread")[0]["threadID"]

        self.setting.server.requests.clear()
        cancelled = self.ask("SCENARIO=slow", "--thread", thread, code=130, until=lambda run: any(
            request["scenario"] == "slow" for request in self.setting.server.requests))
        self.assertLess(cancelled.seconds, 6)
        self.assertEqual(self.ask("SCENARIO=remember", "--thread", thread).words(), "The number was 77.")

        made = self.setting.project / f"undone-by-{self.provider}.txt"
        written = self.ask(f"SCENARIO=write FILE={made} CONTENT=hello", "--thread", thread, "--write")
        self.assertEqual(made.read_text(), "hello\n", written)
        turn = written.events("thread")[0]["turnID"]
        for which in ([], ["--turn", turn]):
            files = self.threads("changes", thread, *which)["files"]
            self.assertEqual([(file["path"], file["kind"]) for file in files], [(made.name, "added")])
        self.assertIn("+hello", files[0]["diff"])
        self.assertEqual(self.threads("undo", thread)["restored"], [made.name])
        self.assertFalse(made.exists())

        record = self.threads("show", thread)
        self.assertEqual([turn["status"] for turn in record["turns"]],
                         ["completed", "cancelled", "completed", "completed"])
        self.assertRegex(record["cliSessionID"], UUID)
        self.assertEqual(record["turns"][2]["items"][-1]["text"], "The number was 77.")
        self.assertIn(thread, [one["id"] for one in self.threads("list")])

    def test_a_refused_turn_is_kept_and_tells_why(self):
        run = self.ask("SCENARIO=error STATUS=400", "--thread", "new", events=False, code=1)
        self.assertEqual((run.stdout + run.stderr).count("Scripted failure 400"), 1, run)
        turn = self.threads("show", UUID.search(run.stderr)[0])["turns"][0]
        self.assertEqual((turn["status"], turn["items"][-1]["kind"]), ("failed", "error"))
        self.assertIn("Scripted failure 400", turn["items"][-1]["text"])


class ClaudeThreads(Threads, unittest.TestCase):
    provider = "claude"


class CodexThreads(Threads, unittest.TestCase):
    provider = "codex"


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--valectl", type=pathlib.Path, required=True)
    parser.add_argument("--clis", type=pathlib.Path, required=True, help="where tools/install-clis put them")
    parser.add_argument("--completion", type=pathlib.Path)
    parser.add_argument("--scratch", type=pathlib.Path, help="made anew; default: live, beside valectl")
    options, rest = parser.parse_known_args()
    Case.setting = Setting(options)
    unittest.main(argv=[sys.argv[0], *rest], verbosity=2)


if __name__ == "__main__":
    main()
