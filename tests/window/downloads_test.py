"""What servers send to be saved, and where it ends up. Usage: downloads_test.py VALE [SUBJECT...]"""

import http.server
import json
import signal
import subprocess
import threading
import unittest
import urllib.parse

import stage
import window_test

LINE = b"#!/bin/sh\ntouch \"$HOME/was-run\"\n"

# What a server may call its file -> what it may be called on the disk.
NAMES = {
    "plain.txt": "plain.txt",
    "../../../escape.txt": "escape.txt",
    "/etc/cron.d/absolute": "absolute",
    "..\\..\\windows.txt": "windows.txt",
    "": "name",
    "..": "download",
    ".bashrc": "bashrc",
    "run.desktop": "run.desktop",
    "run.sh": "run.sh",
    "a\tb\u202egpj.exe": "a_b_gpj.exe",
    "taken.txt": "taken (1).txt",
    "link.txt": "link (1).txt",
    "x" * 300 + ".tar.gz": "x" * 193 + ".tar.gz",
}


class Handler(http.server.BaseHTTPRequestHandler):
    """/name/NAME sends a file of that name, /endless one that does not end until the test does."""

    def do_GET(self):
        path = urllib.parse.urlsplit(self.path).path
        self.server.seen.append(path)
        self.send_response(200)
        if path.startswith("/page"):
            self.send_header("Content-Type", "text/html; charset=utf-8")
            self.end_headers()
            self.wfile.write(self.server.pages[path].encode())
            return
        if path == "/unknown":
            self.send_header("Content-Type", "application/x-unheard-of")
        else:
            name = urllib.parse.unquote(path[len("/name/"):])
            quoted = urllib.parse.quote(name, safe="")
            self.send_header("Content-Type", "text/plain")
            self.send_header("Content-Disposition", f"attachment; filename*=UTF-8''{quoted}")
        if path == "/name/endless":
            self.send_header("Content-Length", "1000000")
            self.end_headers()
            self.wfile.write(b"x" * 100_000)
            self.wfile.flush()
            self.server.ending.wait(60)
            return
        self.send_header("Content-Length", "1000" if path == "/name/short" else str(len(LINE)))
        self.end_headers()
        self.wfile.write(LINE)

    def log_message(self, *arguments):
        pass


class Downloads(unittest.TestCase):
    def setUp(self):
        self.folder, self.environment = self.enterContext(stage.stage())
        self.place = self.folder / "Downloads"
        self.place.mkdir()
        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.server.daemon_threads = True
        self.server.seen, self.server.ending, self.server.pages = [], threading.Event(), {}
        threading.Thread(target=self.server.serve_forever, daemon=True).start()
        self.addCleanup(self.server.server_close)
        self.addCleanup(self.server.shutdown)
        self.addCleanup(self.server.ending.set)

    def address(self, path):
        return f"http://127.0.0.1:{self.server.server_port}{path}"

    def start(self, *paths):
        process = subprocess.Popen([window_test.VALE, "--support", str(self.folder / "kept"), *map(self.address, paths)],
                                   env=self.environment, stderr=subprocess.DEVNULL)
        self.addCleanup(stage.end, process)
        return process

    def listed(self):
        """The states in the list of downloads, by address."""
        try:
            downloads = json.loads((self.folder / "kept" / "downloads.json").read_text())["downloads"]
        except FileNotFoundError:
            return {}
        return {urllib.parse.urlsplit(one["url"]).path: one for one in downloads}

    def states(self):
        return {path: one["state"] for path, one in self.listed().items()}

    def files(self, folder=None):
        return sorted(path.name for path in (folder or self.place).iterdir())

    def test_hostile_names_stay_in_the_folder_and_nothing_is_overwritten_or_run(self):
        (self.place / "taken.txt").write_text("mine")
        (self.folder / "secret").write_text("mine")
        (self.place / "link.txt").symlink_to(self.folder / "secret")
        home = set(self.files(self.folder))
        paths = ["/name/" + urllib.parse.quote(name, safe="") for name in NAMES]
        self.start(*paths, "/unknown")
        stage.until(lambda: list(self.states().values()).count("finished") == len(paths) + 1, 120)
        expected = [*NAMES.values(), "taken.txt", "link.txt", "unknown"]
        self.assertEqual(self.files(), sorted(expected))
        for name in self.files():
            mine = name in ("taken.txt", "link.txt")
            self.assertEqual((self.place / name).read_bytes(), b"mine" if mine else LINE, name)
            self.assertFalse((self.place / name).stat().st_mode & 0o111, name)
        self.assertEqual({name for name in set(self.files(self.folder)) - home if not name.startswith(".")}, {"kept"})
        self.assertFalse((self.folder / "was-run").exists())

    def test_a_page_downloads_one_file_by_itself_and_asks_about_the_others(self):
        self.server.pages["/page"] = "".join(f"<iframe src='/name/{number}'></iframe>" for number in range(5))
        self.start("/page")
        stage.until(lambda: sum(path.startswith("/name/") for path in self.server.seen) == 5)
        stage.until(lambda: list(self.states().values()) == ["finished"])
        self.assertEqual(len(self.files()), 1)

    def test_what_ends_half_way_is_found_failed_and_only_its_own_remains_go(self):
        browser = self.start("/name/endless", "/name/short")
        stage.until(lambda: self.states() == {"/name/endless": "running", "/name/short": "failed"})
        stage.until(lambda: any(path.name.startswith("content") for path in self.place.glob(".vale-*/*")))
        self.assertEqual([path.stat().st_mode & 0o777 for path in self.place.glob(".vale-*")], [0o700])
        (self.place / ".vale-notes.part").write_text("mine")
        browser.send_signal(signal.SIGKILL)
        browser.wait()
        self.server.ending.set()
        self.start("/name/again")
        stage.until(lambda: self.states().get("/name/again") == "finished")
        self.assertEqual(self.listed()["/name/endless"]["error"], "Vale ended before the download was complete.")
        stage.until(lambda: self.files() == [".vale-notes.part", "again"])

    def test_without_a_place_to_write_the_list_says_why(self):
        self.place.rmdir()
        self.place.write_text("no folder")
        self.start("/name/x")
        stage.until(lambda: self.states() == {"/name/x": "failed"})
        self.assertIn("Could not make the folder", self.listed()["/name/x"]["error"])
        self.assertEqual(self.place.read_text(), "no folder")


if __name__ == "__main__":
    unittest.main(verbosity=2)
