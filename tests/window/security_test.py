"""What a page must not be able to do, however it tries. Usage: security_test.py VALE [SUBJECT...]"""

import contextlib
import json
import os
import signal
import subprocess
import unittest
import urllib.error
import urllib.parse

import stage
from site_server import Site, certificate
from window_test import VALE, Driven, WindowTest

MARK = "heliotrope-7391"


def secret_file(folder, site):
    """The address of a file that tells the site when it is opened."""
    file = folder / "secret.html"
    file.write_text(f"<title>{MARK}</title><script>new Image().src = '{site.address('/reached')}'</script>")
    return file.as_uri()


def without_container_marks():
    """The engine leaves out its sandbox where these files say that it is in one already: a place without."""
    if not any(os.path.exists(f"/{mark}") for mark in [".flatpak-info", ".dockerenv"]):
        return []
    places = [os.path.join("/", name) for name in os.listdir("/") if not name.startswith(".")]
    return ["bwrap", *(word for place in places for word in ["--dev-bind", place, place])]


class Attacked(Driven):
    def site(self, answer, certificate=None):
        site = Site(answer, certificate)
        self.addCleanup(site.close)
        return site

    def arguments(self):
        return ["--support", str(self.folder / "kept")]

    def click(self, selector):
        """As far as a script can click."""
        self.script(f"document.querySelector({json.dumps(selector)}).click()")

    def settle(self):
        """What a page has begun has come to the network and back."""
        self.ask("POST", "/execute/async", {"script": "const done = arguments[0]; setTimeout(() => fetch('/settled')"
                                                      ".finally(() => setTimeout(done, 50)), 50)", "args": []})

    def shown(self):
        """The addresses of all pages that there are."""
        first = self.ask("GET", "/window")
        found = []
        for handle in self.ask("GET", "/window/handles"):
            self.ask("POST", "/window", {"handle": handle})
            found.append(self.ask("GET", "/url"))
        self.ask("POST", "/window", {"handle": first})
        return found


class Reach(Attacked):
    """Files and the browser's own pages are out of the reach of what comes from the web."""

    WAYS = {
        "link": "<a href='{to}'>x</a>",
        "blank": "<a href='{to}' target=_blank>x</a>",
        "location": "<a href='#'>x</a><script>location = '{to}'</script>",
        "refresh": "<meta http-equiv=refresh content='0;url={to}'><a href='#'>x</a>",
        "frame": "<iframe src='{to}'></iframe><a href='#'>x</a>",
        "object": "<object data='{to}'></object><embed src='{to}'><script src='{to}'></script><a href='#'>x</a>",
        "form": "<form action='{to}'><a href='#' onclick='document.forms[0].submit()'>x</a></form>",
        "base": "<base href='{to}'><a href='/'>x</a>",
    }

    def test_no_way_leads_from_the_web_to_files_or_own_pages(self):
        def answer(path, _):
            way, _, to = path[1:].partition("?")
            return 200, {}, f"<title>Bait</title>{self.WAYS.get(way, 'x').format(to=urllib.parse.unquote(to))}"

        site = self.site(answer)
        secret = secret_file(self.folder, site)
        for to in [secret, "vale://history", "vale://start"]:
            for way in self.WAYS:
                with self.subTest(way=way, to=to):
                    self.ask("POST", "/url", {"url": site.address(f"/{way}?{to}")})
                    self.click("a")
                    self.settle()
                    self.assertTrue(self.ask("GET", "/url").startswith("http:"))
                    inside = self.script("try { return document.querySelector('iframe')?.contentDocument?.body"
                                         "?.innerText } catch { return '' }")
                    self.assertFalse(inside)
            loaded = self.ask("POST", "/execute/async", {
                "script": "const [to, done] = arguments; fetch(to, {mode: 'no-cors'}).then(() => done('read'), "
                          "() => { const x = new XMLHttpRequest(); x.onload = () => done('read'); "
                          "x.onerror = () => done('no'); try { x.open('GET', to); x.send() } catch { done('no') } })",
                "args": [to]})
            self.assertEqual(loaded, "no")
        self.assertNotIn("/reached", site.asked)
        self.ask("DELETE", "")

    def test_a_redirect_to_a_script_runs_nothing(self):
        site = self.site(lambda path, _: (302, {"Location": "javascript:parent.reached=true"}, "") if path == "/to"
                         else (200, {}, "<iframe src='/to'></iframe>"))
        self.ask("POST", "/url", {"url": site.address("/")})
        self.settle()
        self.assertIsNone(self.script("return window.reached"))
        self.ask("DELETE", "")


class Clicked(WindowTest):
    """The same with a user's own clicks, which may do more than a script's."""

    LEAD = """<title>Bait</title><style>a {{ position: fixed; inset: 0; background: #eee }}</style>
    <body onmousedown="navigator.sendBeacon('/down{at}')">{what}<script>
    setInterval(async () => {{
      const at = await (await fetch('/at?{at}')).text();
      if (at != location.pathname) location = at;
    }}, 200)
    </script>"""
    WAYS = [
        ("1", "<a href='{to}'>x</a>"),
        ("1", "<form action='{to}'></form><a href='#' onclick='document.forms[0].submit()'>x</a>"),
        ("2", "<a href='{to}'>x</a>"),
        ("ctrl", "<a href='{to}'>x</a>"),
        ("1", "<a href='{to}' target=_blank>x</a>"),
    ]
    # These may bring another tab to the front, so that each takes a browser of its own.
    OPENING = [
        ("1", "<a href='#' onclick=\"open('{to}'); return false\">x</a>"),
        ("1", "<a href='#' onclick=\"const w = open(); w.location = '{to}'; return false\">x</a>"),
    ]

    def clicked_through(self, run, ways, to):
        """Clicks on every page of a chain, and gives the addresses that the tabs had in the end."""
        at = [0]

        def answer(path, _):
            if path.startswith("/step"):
                number = int(path[5:])
                return 200, {}, self.LEAD.format(what=ways[number][1].format(to=to(site)), at=number)
            return 200, {}, f"/step{at[0]}"

        site = Site(answer)
        self.addCleanup(site.close)
        support = self.folder / f"kept{run}"
        process = subprocess.Popen([VALE, "--support", support, site.address("/step0")], env=self.environment,
                                   stderr=subprocess.DEVNULL)
        self.addCleanup(stage.end, process)
        for number, (button, _) in enumerate(ways):
            at[0] = number
            stage.until(lambda: f"/at?{number}" in site.asked)
            around = (["keydown", "ctrl"], ["keyup", "ctrl"]) if button == "ctrl" else ([], [])

            def click():
                subprocess.run(["xdotool", "mousemove", "700", "500", *around[0], "click",
                                "1" if button == "ctrl" else button, *around[1]], env=self.environment, check=True)
                return f"/down{number}" in site.asked
            stage.until(click)
        stage.end(process)
        windows = json.loads((support / "session.json").read_text())["windows"]
        return site, [tab["url"] for window in windows for tab in window["tabs"]]

    def test_no_click_leads_from_the_web_to_files_or_own_pages(self):
        run = 0
        for target in ["file", "vale://history"]:
            for ways in [self.WAYS, *([way] for way in self.OPENING)]:
                run += 1
                with self.subTest(target=target, ways=ways):
                    to = (lambda site: secret_file(self.folder, site)) if target == "file" else lambda site: target
                    site, left = self.clicked_through(run, ways, to)
                    self.assertNotIn("/reached", site.asked)
                    self.assertEqual([one for one in left if not one.startswith(("http:", "about:blank"))], [])

    def test_a_redirect_to_a_file_is_not_followed(self):
        site = Site(lambda path, _: (302, {"Location": secret}, "") if path == "/to" else
                    (200, {}, "<iframe src='/to'></iframe><script>setTimeout(() => location = '/to')</script>"))
        self.addCleanup(site.close)
        secret = secret_file(self.folder, site)
        process = subprocess.Popen([VALE, site.address("/")], env=self.environment, stderr=subprocess.DEVNULL)
        self.addCleanup(stage.end, process)
        stage.until(lambda: "/to" in site.asked)
        # The engine ends the process of such a page; the browser goes on.
        stage.until(lambda: not stage.descendants(process.pid, "WebKitWebProces"))
        self.assertNotIn("/reached", site.asked)
        self.assertIsNone(process.poll())


class Popups(Attacked):
    def test_pages_open_windows_only_when_the_user_does_something(self):
        site = self.site(lambda *_: (200, {}, "<title>Bait</title><script>window.w = open('/z'); "
                                              "setTimeout(() => open('/z'))</script>"))
        self.ask("POST", "/url", {"url": site.address("/")})
        self.settle()
        self.assertIsNone(self.script("return window.w"))
        self.assertEqual(len(self.ask("GET", "/window/handles")), 1)
        self.assertNotIn("/z", site.asked)
        self.ask("DELETE", "")


class Certificates(Attacked):
    def test_no_page_gets_past_a_certificate_that_proves_nothing(self):
        site = self.site(lambda *_: (200, {"Access-Control-Allow-Origin": "*"}, "reached"), certificate(self.folder))
        to = site.address("/", "localhost")
        bait = self.site(lambda *_: (200, {}, f"<title>Bait</title><a href='{to}'>x</a><iframe src='{to}'></iframe>"
                                              f"<img src='{to}'><script src='{to}'></script>"))
        self.ask("POST", "/url", {"url": bait.address("/")})
        fetched = self.ask("POST", "/execute/async", {
            "script": "const [to, done] = arguments; fetch(to).then(() => done('read'), () => done('no'))",
            "args": [to]})
        self.assertEqual(fetched, "no")
        self.click("a")
        with contextlib.suppress(urllib.error.HTTPError):
            self.ask("POST", "/url", {"url": to})
        self.assertEqual(site.asked, [], "the server was sent a request")
        self.ask("DELETE", "")


class Sandbox(WindowTest):
    def test_the_engine_runs_pages_in_namespaces_of_their_own(self):
        process = subprocess.Popen([*without_container_marks(), VALE, self.server.address("/green")],
                                   env=self.environment, stderr=subprocess.DEVNULL)
        self.addCleanup(stage.end, process)
        self.addCleanup(lambda: [os.kill(pid, signal.SIGTERM) for pid in stage.descendants(process.pid, "vale")])
        pid = stage.until(lambda: stage.descendants(process.pid, "WebKitWebProces"))[0]
        for kind in ["mnt", "pid"]:
            with self.subTest(namespace=kind):
                theirs, ours = (os.readlink(f"/proc/{one}/ns/{kind}") for one in (pid, process.pid))
                self.assertNotEqual(theirs, ours)


class Private(WindowTest):
    PAGE = """<title>{mark} title</title><link rel=icon href='/{mark}.png'><p>{mark} text
    <form><input id=i name='{mark}' value='{mark}'><textarea>{mark}</textarea></form><script>
    document.cookie = '{mark}=1; max-age=86400';
    localStorage.setItem('{mark}', '{mark}'); sessionStorage.setItem('{mark}', '{mark}');
    document.querySelector('#i').value = '{mark} typed';
    history.pushState({{}}, '', '/{mark}/pushed');
    const kept = new Promise((done, failed) => {{
      const asked = indexedDB.open('{mark}', 1);
      asked.onupgradeneeded = () => asked.result.createObjectStore('{mark}').put('{mark}', 1);
      asked.onsuccess = done; asked.onerror = failed;
    }});
    Promise.allSettled([kept, caches?.open('{mark}').then(one => one.put('/{mark}', new Response('{mark}'))),
                        navigator.serviceWorker?.register('/{mark}.js')])
      .then(() => setTimeout(() => location = '/file/{mark}.bin', 300));
    </script>"""

    def test_nothing_of_a_private_window_reaches_the_disk(self):
        def answer(path, _):
            if path.startswith("/file/"):
                return 200, {"Content-Disposition": f"attachment; filename={MARK}.bin",
                             "Content-Type": "application/octet-stream"}, MARK
            if path.endswith(".js"):
                return 200, {"Content-Type": "text/javascript"}, f"'{MARK}'"
            return 200, {"Cache-Control": "max-age=86400", "Set-Cookie": f"c{MARK}={MARK}; Max-Age=86400"}, \
                self.PAGE.format(mark=MARK)

        site = Site(answer)
        self.addCleanup(site.close)
        process = subprocess.Popen([VALE, "--support", self.folder / "kept", "--private", site.address(f"/{MARK}")],
                                   env=self.environment)
        self.addCleanup(stage.end, process)
        stage.until(lambda: any(path.startswith("/file/") for path in site.asked))
        children = stage.descendants(process.pid, "")
        stage.end(process)
        stage.until(lambda: not any(os.path.exists(f"/proc/{pid}") for pid in children))
        # Also the ordinary session of the same folder afterwards.
        self.assertEqual(self.marked(), [])
        self.assertTrue((self.folder / "kept" / "session.json").exists(), "the folder was in use")

    def marked(self):
        found = []
        for file in self.folder.rglob("*"):
            with contextlib.suppress(OSError):
                if MARK in str(file) or (file.is_file() and MARK.encode() in file.read_bytes()):
                    found.append(str(file))
        return found


if __name__ == "__main__":
    unittest.main(verbosity=2)
