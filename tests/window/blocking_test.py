"""What filter lists do to pages, and that they are compiled once. Usage: blocking_test.py VALE [SUBJECT...]"""

import hashlib
import json
import unittest

import stage
import window_test

LIST = """! Title: Local
||localhost^$image
||localhost^$csp=x
@@||localhost^*/fine^$image
/refused-frame
/went-there
/always$important,image
@@/always
##.banner
127.0.0.1#@#.kept
##.kept
"""
PICTURE = ("image/svg+xml", "<svg xmlns='http://www.w3.org/2000/svg' width='8' height='8'/>")
ID = "00000000-0000-4000-8000-000000000001"


class Blocking(window_test.Driven):
    def arguments(self):
        self.elsewhere = stage.Server({"/ad": PICTURE, "/fine/x": PICTURE, "/always": PICTURE})
        self.addCleanup(self.elsewhere.server_close)
        self.addCleanup(self.elsewhere.shutdown)
        there = f"http://localhost:{self.elsewhere.server_port}"
        window_test.PAGES.update({
            "/page": ("text/html", f"<title>Page</title><img src={there}/ad><img src={there}/fine/x>"
                                   f"<img src={self.server.address('/always')}><p class=banner>x<p class=kept>x"
                                   f"<iframe src=/refused-frame></iframe>"),
            "/always": PICTURE,
            "/refused-frame": ("text/html", "<body>in the frame"),
            "/went-there": ("text/html", "<title>There</title>")})
        self.blocking = self.folder / "kept" / "Blocking"
        if not self.blocking.exists():
            self.blocking.mkdir(parents=True)
            (self.blocking / f"{ID}.txt").write_text(LIST)
            self.keep({"ownList": True, "exceptedSites": [], "lists": [
                {"id": ID, "name": "Local", "digest": hashlib.sha256(LIST.encode()).hexdigest(), "enabled": True,
                 "used": 9, "notUnderstood": 1, "addedAt": 0}]})
        return ["--support", str(self.folder / "kept")]

    def keep(self, record):
        (self.blocking / "blocking.json").write_text(json.dumps(record))

    def record(self):
        return json.loads((self.blocking / "blocking.json").read_text())

    def blocked(self):
        """What is missing in the page: its three pictures, the banner, the other paragraph, the frame."""
        self.ask("POST", "/url", {"url": self.server.address("/page")})
        return self.script("""return [...[...document.images].map(one => one.naturalWidth == 0),
            ...['.banner', '.kept'].map(one => getComputedStyle(document.querySelector(one)).display == 'none'),
            !document.querySelector('iframe').contentDocument?.body?.textContent]""")

    def compiled(self):
        return sorted((one.name, one.stat().st_ino, one.stat().st_mtime_ns)
                      for one in (self.blocking / "Compiled").iterdir())

    def restart(self):
        browsers = self.browsers()
        self.ask("DELETE", "")
        stage.until(lambda: not any(stage.pathlib.Path(f"/proc/{pid}").exists() for pid in browsers))
        self.start()

    def test_what_a_list_names_is_blocked_and_the_next_start_compiles_nothing(self):
        expected = [True, False, True, True, False, True]
        stage.until(lambda: self.blocked() == expected)
        self.ask("POST", "/url", {"url": self.server.address("/went-there")})
        self.assertEqual(self.ask("GET", "/title"), "There")
        key = stage.until(lambda: self.record().get("compiled"))["key"]
        compiled = self.compiled()
        self.restart()
        stage.until(lambda: self.blocked() == expected)
        self.assertEqual(self.compiled(), compiled)
        # A site that is excepted gets everything.
        self.ask("DELETE", "")
        record = self.record()
        self.assertEqual(record["compiled"]["key"], key)
        self.keep(record | {"exceptedSites": ["127.0.0.1"]})
        self.start()
        self.assertEqual(self.blocked(), [False] * 6)
        self.ask("DELETE", "")


if __name__ == "__main__":
    unittest.main(verbosity=2)
