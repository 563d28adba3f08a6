"""What a window test stands on: a virtual display, an empty home, a loopback web server, pictures as pixels."""

import contextlib
import http.server
import os
import pathlib
import socket
import struct
import subprocess
import tempfile
import threading
import time
import zlib


def until(condition, seconds=30):
    """Waits for a condition and gives its value."""
    end = time.monotonic() + seconds
    while not (value := condition()):
        if time.monotonic() > end:
            raise TimeoutError(f"waited {seconds} s in vain")
        time.sleep(0.02)
    return value


def end(process):
    process.terminate()
    try:
        process.wait(10)
    except subprocess.TimeoutExpired:
        process.kill()
        process.wait()


def descendants(pid, name):
    """The processes below one whose name is this (the system keeps 15 letters), or all of them."""
    found = []
    with contextlib.suppress(OSError):
        for task in pathlib.Path(f"/proc/{pid}/task").iterdir():
            for child in (task / "children").read_text().split():
                if pathlib.Path(f"/proc/{child}/comm").read_text().strip() == name or not name:
                    found.append(int(child))
                found += descendants(int(child), name)
    return found


def free_port():
    with socket.socket() as listener:
        listener.bind(("127.0.0.1", 0))
        return listener.getsockname()[1]


class Server(http.server.ThreadingHTTPServer):
    """Serves `pages`, path -> (content type, body), and notes what was asked."""

    def __init__(self, pages, host="127.0.0.1"):
        asked = self.asked = []

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_GET(self):
                asked.append(self.path)
                kind, body = pages.get(self.path, ("text/plain", None))
                self.send_response(404 if body is None else 200)
                self.send_header("Content-Type", kind)
                self.end_headers()
                self.wfile.write((body or "nothing here").encode())

            def log_message(self, *arguments):
                pass

        super().__init__((host, 0), Handler)
        self.daemon_threads = True
        threading.Thread(target=self.serve_forever, daemon=True).start()

    def address(self, path):
        return f"http://127.0.0.1:{self.server_port}{path}"


@contextlib.contextmanager
def stage():
    """A display and a home folder; gives the folder and the environment, with no session bus in it."""
    with tempfile.TemporaryDirectory(ignore_cleanup_errors=True) as name:
        folder = pathlib.Path(name)
        (folder / "run").mkdir(mode=0o700)
        read, write = os.pipe()
        display = subprocess.Popen(
            ["Xvfb", "-displayfd", str(write), "-screen", "0", "1400x1000x24", "-nolisten", "tcp"],
            pass_fds=[write], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
        os.close(write)
        try:
            with os.fdopen(read) as number:
                screen = number.readline().strip()
            environment = {
                "PATH": os.environ["PATH"], "HOME": name, "LANG": "C.UTF-8", "GDK_BACKEND": "x11",
                "DISPLAY": f":{screen}", "XDG_RUNTIME_DIR": str(folder / "run"),
                "VALE_SUPPORT": str(folder / "support"), "DBUS_SESSION_BUS_ADDRESS": "unix:path=/nonexistent"}
            yield folder, environment
        finally:
            end(display)


class Picture:
    """An 8-bit RGB or RGBA PNG (as GTK writes them)."""

    def __init__(self, path):
        data = pathlib.Path(path).read_bytes()
        assert data[:8] == b"\x89PNG\r\n\x1a\n", "not a PNG"
        chunks, offset = {}, 8
        while offset < len(data):
            length, kind = struct.unpack(">I4s", data[offset:offset + 8])
            chunks[kind] = chunks.get(kind, b"") + data[offset + 8:offset + 8 + length]
            offset += length + 12
        self.width, self.height, depth, colour, _, _, interlaced = struct.unpack(">IIBBBBB", chunks[b"IHDR"])
        assert depth == 8 and colour in (2, 6) and not interlaced
        self.channels = 3 if colour == 2 else 4
        self.rows = self.unfiltered(zlib.decompress(chunks[b"IDAT"]))

    def unfiltered(self, raw):
        step, stride = self.channels, self.width * self.channels
        rows, above = [], bytearray(stride)
        for start in range(0, len(raw), stride + 1):
            kind, row = raw[start], bytearray(raw[start + 1:start + 1 + stride])
            for i in range(stride) if kind else ():
                left = row[i - step] if i >= step else 0
                corner = above[i - step] if i >= step else 0
                paeth = min((abs(above[i] - corner), 0, left), (abs(left - corner), 1, above[i]),
                            (abs(left + above[i] - 2 * corner), 2, corner))[2]
                row[i] = (row[i] + (0, left, above[i], (left + above[i]) // 2, paeth)[kind]) & 255
            rows.append(row)
            above = row
        return rows

    def pixel(self, x, y):
        at = x * self.channels
        return tuple(self.rows[y][at:at + 3])
