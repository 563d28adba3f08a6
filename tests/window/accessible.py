"""The browser's own controls as assistive software sees them: found by role and name, read and used.

    environment |= self.enterContext(accessible.buses(folder))
    browser = self.enterContext(accessible.browser(VALE, environment, "--support", support, address))
    browser.press("ctrl+f")
    browser.find("text", "Find in page").set_text("needle")
    browser.find("button", "Next match").activate()
    stage.until(lambda: browser.look("label", "2 of 3"))

Pages are not in the tree; WebDriver reads those, and `Browser(pid, environment)` takes up a browser that a driver
has started.
"""

import contextlib
import os
import re
import subprocess
import sys
import tempfile
import warnings

try:
    import gi
except ModuleNotFoundError:
    # The bindings belong to the distribution's own interpreter.
    if os.environ.get("VALE_OTHER_PYTHON") or not os.access("/usr/bin/python3", os.X_OK):
        raise
    os.execve("/usr/bin/python3", ["/usr/bin/python3", *sys.orig_argv[1:]], os.environ | {"VALE_OTHER_PYTHON": "1"})

gi.require_version("Atspi", "2.0")
from gi.repository import Atspi, GLib  # noqa: E402

import stage  # noqa: E402

TOP = ("frame", "window", "dialog")
LAUNCHERS = ["/usr/libexec/at-spi-bus-launcher", "/usr/lib/at-spi2-core/at-spi-bus-launcher"]
_accessibility = None  # the process under test may change, but the library connects only once


def _dbus_daemon(folder, environment):
    """A session bus at a socket of its own."""
    address = f"unix:path={folder}/bus"
    process = subprocess.Popen(
        ["dbus-daemon", "--session", "--nofork", "--nopidfile", "--nosyslog", f"--address={address}"],
        env=environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    stage.until(lambda: os.path.exists(f"{folder}/bus"))
    return process, address


def _accessibility_bus():
    global _accessibility
    if _accessibility is None:
        # Nothing of the session that runs the tests: no display, no home, no bus.
        folder = tempfile.TemporaryDirectory(ignore_cleanup_errors=True)
        environment = {"PATH": os.environ["PATH"], "HOME": folder.name, "XDG_RUNTIME_DIR": folder.name,
                       "GSETTINGS_BACKEND": "memory"}
        daemon, address = _dbus_daemon(folder.name, environment)
        environment["DBUS_SESSION_BUS_ADDRESS"] = address
        launcher = subprocess.Popen([next(filter(os.path.exists, LAUNCHERS)), "--launch-immediately"],
                                    env=environment, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        answer = ["gdbus", "call", "--session", "--dest", "org.a11y.Bus", "--object-path", "/org/a11y/bus",
                  "--method", "org.a11y.Bus.GetAddress"]
        found = stage.until(lambda: re.search(r"'(.*)'", subprocess.run(
            answer, env=environment, capture_output=True, text=True).stdout))
        _accessibility = (found[1], folder, [launcher, daemon])
        os.environ["AT_SPI_BUS_ADDRESS"] = found[1]
        os.environ.pop("DISPLAY", None)
        import atexit
        atexit.register(lambda: [stage.end(process) for process in (launcher, daemon)])
        Atspi.init()
        Atspi.get_desktop(0).set_cache_mask(Atspi.Cache.NONE)
    return _accessibility[0]


@contextlib.contextmanager
def buses(folder):
    """Gives what a stage's environment needs for a session bus of its own and the accessibility tree."""
    accessibility = _accessibility_bus()
    environment = {"PATH": os.environ["PATH"], "HOME": str(folder), "XDG_RUNTIME_DIR": str(folder / "run"),
                   "GSETTINGS_BACKEND": "memory"}
    process, address = _dbus_daemon(folder / "run", environment)
    try:
        yield {"DBUS_SESSION_BUS_ADDRESS": address, "AT_SPI_BUS_ADDRESS": accessibility,
               "GSETTINGS_BACKEND": "memory", "GTK_USE_PORTAL": "0"}
    finally:
        stage.end(process)


@contextlib.contextmanager
def browser(vale, environment, *arguments):
    """A browser that ends with the block; it must come as far as a window."""
    process = subprocess.Popen([vale, *map(str, arguments)], env=environment, stderr=subprocess.PIPE, text=True)
    try:
        shown = Browser(process.pid, environment)
        shown.process = process
        stage.until(lambda: shown.windows() or process.poll() is not None)
        if process.poll() is not None:
            raise AssertionError(f"the browser ended: {process.stderr.read()}")
        yield shown
    finally:
        stage.end(process)
        process.stderr.close()


def _guarded(call, otherwise=None):
    """A control may go while it is looked at."""
    try:
        return call()
    except GLib.Error:
        return otherwise


class Control:
    def __init__(self, node, browser):
        self.node, self.browser = node, browser

    def __repr__(self):
        return f"<{self.role} {self.name!r}>"

    @property
    def role(self):
        return _guarded(self.node.get_role_name, "").removeprefix("push ")

    @property
    def name(self):
        """Its text, else its tooltip; a mnemonic counts as without its underscore."""
        name = _guarded(self.node.get_name, "")
        if not name or re.fullmatch(r"(Gtk|Adw|WebKit)[A-Z]\w*", name):
            return self.description
        half = len(name) // 2 + 1
        return name[half:] if name[:half].replace("_", "", 1).strip() == name[half:] else name

    @property
    def has_own_name(self):
        """False for one that is called by nothing, or by its kind."""
        name = _guarded(self.node.get_name, "")
        return bool(name.strip()) and not re.fullmatch(r"(Gtk|Adw|WebKit)[A-Z]\w*", name)

    @property
    def description(self):
        return _guarded(self.node.get_description, "")

    def has(self, state):
        """Of the states by their names: "focused", "focusable", "checked", "pressed", "selected", "expanded"…"""
        wanted = getattr(Atspi.StateType, state.upper().replace(" ", "_"))
        return _guarded(lambda: self.node.get_state_set().contains(wanted), False)

    @property
    def showing(self):
        """The toolkit tells what it hides; what another page of a stack covers it has given no size (or still
        its former one: such a control is better asked for its text)."""
        if not self.has("visible"):
            return False
        place = _guarded(lambda: Atspi.Component.get_extents(self.node, Atspi.CoordType.WINDOW))
        return place is None or (place.width > 0 and place.height > 0)

    @property
    def sensitive(self):
        return self.has("sensitive")

    @property
    def children(self):
        count = _guarded(self.node.get_child_count, 0)
        nodes = (_guarded(lambda index=index: self.node.get_child_at_index(index)) for index in range(count))
        return [Control(node, self.browser) for node in nodes if node is not None]

    def walk(self, showing=False):
        yield self
        for child in self.children:
            if not showing or child.has("visible"):
                yield from child.walk(showing)

    def look(self, role=None, name=None, showing=True):
        """The first control below of a role ("button", "label", "text"…) and a name (a text, or a compiled
        pattern that is searched for), or None."""
        if self is self.browser and role in TOP:
            return next((one for one in self.windows() if one.role == role and one._is_called(name)), None)
        return next(self.all(role, name, showing), None)

    def _is_called(self, name):
        return name is None or (name.search(self.name) if hasattr(name, "search") else self.name == name)

    def all(self, role=None, name=None, showing=True):
        def fits(control):
            if role is not None and control.role != role:
                return False
            return control._is_called(name) and (not showing or control.showing)
        return (control for control in self.walk(showing) if fits(control))

    def find(self, role=None, name=None, showing=True, seconds=15):
        """The same, waited for."""
        try:
            return stage.until(lambda: self.look(role, name, showing), seconds)
        except TimeoutError:
            raise AssertionError(f"no {role or 'control'} called {name!r} in:\n{self.tree()}") from None

    def tree(self, depth=0, showing=True):
        """What is there, as text, for a failed test."""
        if showing and depth and not self.has("visible"):
            return ""
        line = "  " * depth + f"{self.role} {self.name!r}\n"
        return line + "".join(child.tree(depth + 1, showing) for child in self.children)

    @property
    def text(self):
        return _guarded(lambda: Atspi.Text.get_text(self.node, 0, -1), "")

    def set_text(self, text):
        self.focus()
        assert Atspi.EditableText.set_text_contents(self.node, text), f"{self} takes no text"

    def focus(self):
        _guarded(lambda: Atspi.Component.grab_focus(self.node))

    def actions(self):
        count = _guarded(lambda: Atspi.Action.get_n_actions(self.node), 0)
        with warnings.catch_warnings():
            # The newer `get_name` is hidden by the control's own.
            warnings.simplefilter("ignore", DeprecationWarning)
            return [_guarded(lambda index=index: Atspi.Action.get_action_name(self.node, index), "")
                    for index in range(count)]

    def activate(self, action=None):
        """What the pointer or the keyboard would set off; `action` chooses one by its name."""
        names = self.actions()
        wanted = [action] if action else ["click", "activate", "press", "toggle", "expand or contract"]
        for name in wanted:
            if name in names:
                assert Atspi.Action.do_action(self.node, names.index(name))
                return
        assert not action, f"{self} has no action {action!r}, only {names}"
        # Rows and menu items have none of their own.
        self.focus()
        stage.until(lambda: self.has("focused"), 5)
        self.browser.press("Return")


class Browser(Control):
    """All of one browser, its windows at the top."""

    def __init__(self, pid, environment):
        self.pid, self.environment, self.browser = pid, environment, self
        self.process = None

    @property
    def node(self):
        desktop = Atspi.get_desktop(0)
        desktop.clear_cache()
        for index in range(desktop.get_child_count()):
            one = _guarded(lambda index=index: desktop.get_child_at_index(index))
            if one is not None and _guarded(one.get_process_id) == self.pid:
                one.set_cache_mask(Atspi.Cache.NONE)
                return one
        raise LookupError("the browser is not in the accessibility tree")

    def windows(self):
        try:
            return [child for child in self.children if child.role in TOP]
        except LookupError:
            return []

    def desktop(self, *arguments):
        return subprocess.run(["xdotool", *map(str, arguments)], env=self.environment, capture_output=True,
                              text=True).stdout.strip()

    def _give_keyboard(self):
        """Without a window manager nothing else gives it to a window."""
        focused = self.desktop("getwindowfocus")
        shown = self.desktop("search", "--onlyvisible", "--class", "vale").split()
        if shown and focused not in shown:
            self.desktop("windowfocus", "--sync", shown[-1])

    def press(self, *keys):
        """Keys by xdotool's names: "ctrl+f", "F3", "Escape"."""
        self._give_keyboard()
        self.desktop("key", "--clearmodifiers", *keys)

    def type(self, text):
        self._give_keyboard()
        self.desktop("type", "--clearmodifiers", text)

    def click(self, x, y, button=1):
        """At a place of the display."""
        self.desktop("mousemove", x, y, "click", button)
