"""What the live tests stand on: a home of their own, the model server, a program run in a clean environment."""

import base64
import contextlib
import json
import os
import pathlib
import re
import shutil
import signal
import subprocess
import threading
import time
import uuid

from model_server import ModelServer

PNG = "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAYAAAAfFcSJAAAADUlEQVR42mNk+M9QDwADhgGAWjR9awAAAABJRU5ErkJggg=="
SCHEMA = {"type": "object", "additionalProperties": False, "required": ["answer", "kind"],
          "properties": {"answer": {"type": "string"}, "kind": {"type": "string", "enum": ["a", "b"]}}}
UUID = re.compile(r"[0-9a-fA-F]{8}(-[0-9a-fA-F]{4}){3}-[0-9a-fA-F]{12}")
FILE_TOOLS = {"Read", "Glob", "Grep", "Edit", "Write", "Bash", "exec_command"}
PRODUCT = {"claude": "Claude Code", "codex": "Codex"}


def wait_for(condition, seconds):
    end = time.monotonic() + seconds
    while not (value := condition()) and time.monotonic() < end:
        time.sleep(0.02)
    return value


def marked_processes(mark, home):
    """The living processes of a run: {pid: command line}. They carry the mark in their environment; where a
    sandbox has emptied that, they name the home folder in their arguments."""
    found = {}
    for entry in pathlib.Path("/proc").iterdir():
        with contextlib.suppress(OSError):
            if entry.name.isdigit():
                command = (entry / "cmdline").read_bytes().replace(b"\0", b" ").decode(errors="replace")
                if str(home) in command or mark.encode() in (entry / "environ").read_bytes():
                    found[int(entry.name)] = command[:300]
    return found


class Setting:
    """The folders, the server and the environment that the programs run in."""

    def __init__(self, options):
        self.valectl, self.clis = options.valectl.resolve(), options.clis.resolve()
        self.completion = options.completion and options.completion.resolve()
        self.server = ModelServer()
        threading.Thread(target=self.server.serve_forever, daemon=True).start()
        # Not below the temporary folder: Codex refuses to put its sandbox's executable there.
        self.folder = (options.scratch or self.valectl.parent / "live").resolve()
        shutil.rmtree(self.folder, ignore_errors=True)
        self.home, self.temporary, self.project = (self.folder / name for name in ("home", "tmp", "project"))
        for folder in (self.home / ".local/bin", self.home / ".codex", self.temporary, self.project,
                       self.folder / "signed-out"):
            folder.mkdir(parents=True)
        for name in PRODUCT:
            (self.home / ".local/bin" / name).symlink_to(self.clis / "bin" / name)
        (self.project / "README.md").write_text("# Sample\n\nThe marker is 4711.\n")
        (self.folder / "outside.md").write_text("The marker is 1147.\n")
        (self.folder / "dot.png").write_bytes(base64.b64decode(PNG))
        (self.folder / "schema.json").write_text(json.dumps(SCHEMA))
        subprocess.run(["git", "init", "-q", str(self.project)], check=True)
        subprocess.run([self.clis / "bin/codex", "login", "--with-api-key"], input="sk-dummy-0123456789",
                       env=self.environment(), text=True, check=True, capture_output=True)

    def environment(self, **changes):
        node = shutil.which("node") or "/usr/bin/node"
        variables = {
            "HOME": self.home, "TMPDIR": self.temporary, "LANG": "C.UTF-8",
            "PATH": f"{self.clis}/bin:/usr/local/bin:/usr/bin:/bin:{os.path.dirname(node)}",
            "ANTHROPIC_BASE_URL": self.server.address, "ANTHROPIC_API_KEY": "dummy",
            "DISABLE_TELEMETRY": "1", "DISABLE_ERROR_REPORTING": "1", "DISABLE_AUTOUPDATER": "1", **changes}
        return {name: str(value) for name, value in variables.items() if value is not None}


class Finished:
    """A program that has ended: its exit code, output, the requests it caused, and what it left behind."""

    def __init__(self, setting, command, stdin="", until=None, send=signal.SIGINT, environment=None):
        self.mark, self.home = f"VALE_LIVE_RUN={uuid.uuid4()}", setting.home
        name, _, value = self.mark.partition("=")
        first_request, lines = len(setting.server.requests), []
        with open(setting.folder / "stderr", "w+", encoding="utf-8") as errors:
            process = subprocess.Popen(
                [str(part) for part in command], stdin=subprocess.PIPE, stdout=subprocess.PIPE, stderr=errors,
                cwd=setting.project, env=setting.environment(**{name: value}, **(environment or {})),
                text=True, start_new_session=True)
            reader = threading.Thread(
                target=lambda: lines.extend((time.monotonic(), line) for line in process.stdout))
            reader.start()
            with contextlib.suppress(BrokenPipeError):
                process.stdin.write(stdin)
                process.stdin.close()
            self.happened = wait_for(lambda: until(self), 30) if until else None
            signalled = time.monotonic()
            if until:
                process.send_signal(send)
            try:
                self.code = process.wait(60)
            except subprocess.TimeoutExpired:
                process.kill()
                self.code = "still running after 60 s"
            self.seconds = time.monotonic() - signalled
            wait_for(lambda: not self.processes(), 2)
            self.left = self.processes()
            for pid in self.left:
                with contextlib.suppress(ProcessLookupError):
                    os.kill(pid, signal.SIGKILL)
            reader.join(5)
            process.stdout.close()
            errors.seek(0)
            self.stderr = errors.read()
        self.times = [when for when, _ in lines]
        self.stdout = "".join(line for _, line in lines)
        self.requests = setting.server.requests[first_request:]
        self.files = list(setting.temporary.glob("vale-*"))
        for file in self.files:
            file.unlink(missing_ok=True)

    def processes(self):
        return marked_processes(self.mark, self.home)

    def events(self, kind=None):
        events = [json.loads(line) for line in self.stdout.splitlines()]
        return [event for event in events if kind in (None, event["event"])]

    def words(self, kind="text"):
        """The texts as a view would show them: pieces appended, whole items replaced."""
        items = {}
        for event in self.events(kind):
            items[event["id"]] = (items.get(event["id"], "") if event["append"] else "") + event["text"]
        return "\n".join(items.values())

    def __repr__(self):
        return f"exit {self.code}\nstdout: {self.stdout[-6000:]}\nstderr: {self.stderr[-3000:]}"


class Case:
    """What the cases of both CLIs share."""
    provider = setting = None

    def program(self, command, code=0, **how):
        run = Finished(self.setting, command, **how)
        self.assertEqual(run.code, code, run)
        self.assertFalse(run.left or run.files, f"left behind: {run.left} {run.files}\n{run}")
        return run

    def service(self, flag="--argument="):
        """How Codex is pointed at the server; Claude Code is by its environment."""
        address = f'openai_base_url="{self.setting.server.address}/v1"'
        return [flag + "-c", flag + address] if self.provider == "codex" else []

    def ask(self, prompt, *options, events=True, **how):
        options = ["--provider", self.provider, *self.service(), *(["--events"] if events else []), *options]
        return self.program([self.setting.valectl, "run", *options, *([prompt] if prompt else [])], **how)

    def sessions(self):
        home = self.setting.home
        return {*home.glob(".claude/projects/*/*.jsonl"), *home.glob(".codex/sessions/**/*.jsonl")}
