"""A web server whose answers a test makes up, and certificates that nobody trusts."""

import contextlib
import http.server
import ssl
import subprocess
import threading


class Site(http.server.ThreadingHTTPServer):
    """Serves what `answer(path, headers)` gives, (status, headers, body), and notes what was asked."""

    def __init__(self, answer, certificate=None):
        site = self
        self.asked = []

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_GET(self):
                site.asked.append(self.path)
                status, headers, body = answer(self.path, self.headers)
                self.send_response(status)
                for name, value in {"Content-Type": "text/html; charset=utf-8", **headers}.items():
                    self.send_header(name, value)
                self.end_headers()
                with contextlib.suppress(OSError):
                    self.wfile.write(body.encode())

            do_POST = do_GET

            def log_message(self, *arguments):
                pass

        super().__init__(("127.0.0.1", 0), Handler)
        self.daemon_threads = True
        self.scheme = "http"
        if certificate:
            context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            context.load_cert_chain(certificate)
            self.socket = context.wrap_socket(self.socket, server_side=True)
            self.scheme = "https"
        threading.Thread(target=self.serve_forever, daemon=True).start()

    def handle_error(self, request, address):
        pass

    def address(self, path="/", host="127.0.0.1"):
        return f"{self.scheme}://{host}:{self.server_port}{path}"

    def close(self):
        self.shutdown()
        self.server_close()


def certificate(folder, host="localhost"):
    """A certificate that nobody has signed, with its key."""
    file = folder / f"{host}.pem"
    key = folder / f"{host}.key"
    subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes",
                    "-days", "7", "-subj", f"/O=Nobody at All/CN={host}", "-addext", f"subjectAltName=DNS:{host}",
                    "-keyout", key, "-out", file], check=True, capture_output=True)
    file.write_text(file.read_text() + key.read_text())
    return file
