"""The checks of the tree find what they are for, and nothing in a good tree."""
import pathlib
import subprocess
import sys
import tempfile
import unittest

CHECKS = pathlib.Path(__file__).resolve().parents[2] / "tools" / "checks"


def run(check, tree):
    """Exit code and printed lines of a check on a folder that holds `tree` ({name: text})."""
    with tempfile.TemporaryDirectory() as folder:
        root = pathlib.Path(folder).resolve() / "checkout"
        for name, text in tree.items():
            (root / name).parent.mkdir(parents=True, exist_ok=True)
            (root / name).write_text(text.replace("ROOT", str(root)))
        done = subprocess.run([sys.executable, CHECKS / check, root], capture_output=True, text=True, check=False)
        return done.returncode, done.stdout.splitlines()


class Layers(unittest.TestCase):
    def test_includes_along_the_arrows_pass(self):
        code, lines = run("layers", {
            "src/common/Text.h": "#include <string>\n#include <boost/json.hpp>\n",
            "src/agents/Run.cpp": '#include "agents/Run.h"\n#include "common/Text.h"\n',
            "src/projects/Index.cpp": '#include "intelligence/Answer.h"\n',
            "src/app/gtk/Window.cpp": '#include "app/Application.h"\n#include <gtk/gtk.h>\n#include <webkit/webkit.h>\n',
            "src/app/ctl/main.cpp": '#include "app/ctl/Verbs.h"\n#include <glob.h>\n',
        })
        self.assertEqual(code, 0, lines)

    def test_each_include_against_an_arrow_is_named(self):
        bad = {
            "src/common/Text.h": '"agents/Run.h"',
            "src/agents/Run.cpp": '"browser/Tab.h"',
            "src/browser/Tab.h": '"history/Archive.h"',
            "src/history/Archive.cpp": '"projects/Index.h"',
            "src/intelligence/Answer.h": '"app/Application.h"',
            "src/projects/Index.h": "<glib.h>",
            "src/app/ctl/main.cpp": "<gtk/gtk.h>",
            "src/app/Application.h": '"app/gtk/Window.h"',
            "src/agents/Session.h": "<webkit/webkit.h>",
            "src/common/Window.cpp": "<adwaita.h>",
        }
        code, lines = run("layers", {name: f"#pragma once\n\n#  include {header}\n" for name, header in bad.items()})
        self.assertEqual(code, 1)
        self.assertEqual([line.split(" ")[0] for line in lines], [f"{name}:3:" for name in sorted(bad)])

    def test_an_unknown_folder_is_named(self):
        self.assertEqual(run("layers", {"src/helpers/Odd.h": ""}),
                         (1, ["src/helpers/Odd.h:1: the folder helpers is no layer"]))


class Words(unittest.TestCase):
    def test_a_clean_tree_passes(self):
        code, lines = run("words", {"src/a.h": "// to do is a list\n" * 600, "tests/fixtures/a.py": "ROOT\n" * 700})
        self.assertEqual(code, 0, lines)

    def test_markers_machine_paths_and_long_files_are_named(self):
        marker = "TO" + "DO"
        code, lines = run("words", {
            "src/a.cpp": "int a;\n" * 601,
            "docs/b.md": f"fine\n{marker}: the rest\n",
            "run": "#!/bin/sh\nexec ROOT/build/vale\n",
        })
        self.assertEqual(code, 1)
        self.assertEqual([line.split(" ")[0] for line in lines], ["docs/b.md:2:", "run:2:", "src/a.cpp:601:"])


if __name__ == "__main__":
    unittest.main()
