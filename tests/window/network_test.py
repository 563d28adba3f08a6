"""A page that waits for the network. It runs where there is none, in a namespace of its own.
Usage: network_test.py VALE [SUBJECT...]"""

import os
import subprocess
import sys
import unittest

import accessible
import stage

ALONE = ["unshare", "--map-root-user", "--net", "--mount", "sh", "-c",
         # The displays of other tests are beyond the namespace, their sockets in the file system are not.
         'mkdir -p /tmp/.X11-unix && mount -t tmpfs none /tmp/.X11-unix && ip link set lo up && exec "$@"', "sh"]
MARK = "VALE_TEST_HAS_OWN_NETWORK"

if MARK not in os.environ:
    try:
        possible = subprocess.run([*ALONE, "true"], capture_output=True).returncode == 0
    except FileNotFoundError:
        possible = False
    if not possible:
        print("skipped: this system gives no network namespace to its users")
        sys.exit(77)
    os.execvpe(ALONE[0], [*ALONE, sys.executable, *sys.argv], os.environ | {MARK: "1"})

VALE = sys.argv.pop(1)
HTML = "text/html; charset=utf-8"


class Network(unittest.TestCase):
    def test_pages_come_by_themselves_once_the_network_is_back_and_they_are_seen(self):
        folder, environment = self.enterContext(stage.stage())
        environment |= self.enterContext(accessible.buses(folder))
        server = stage.Server({"/behind": (HTML, "<title>Behind</title>"), "/seen": (HTML, "<title>Seen</title>")},
                              host="0.0.0.0")
        self.addCleanup(server.server_close)
        self.addCleanup(server.shutdown)
        there = f"http://10.20.30.40:{server.server_port}"
        browser = self.enterContext(accessible.browser(VALE, environment, "--support", folder / "kept",
                                                       there + "/behind", there + "/seen"))
        browser.find("label", "No network connection")
        for words in ["address add 10.20.30.40/32 dev lo", "route add default dev lo"]:
            subprocess.run(["ip", *words.split()], check=True)
        browser.find("frame", "Seen")
        self.assertNotIn("/behind", server.asked)
        browser.press("ctrl+1")
        browser.find("frame", "Behind")
        self.assertEqual([path for path in server.asked if path != "/favicon.ico"], ["/seen", "/behind"])


if __name__ == "__main__":
    unittest.main(verbosity=2)
