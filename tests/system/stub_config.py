"""Stand-in for the device's configuration service, on 127.0.0.1:80 of the namespace it runs in.

Every GET is answered from files in a state directory, read afresh for each request, so a test
can change the answer while the service runs:
  answer.body    the body to send (any bytes, valid JSON or not)
  answer.status  optional HTTP status (default 200)
  requests.log   one line per request: the request target (path and query)
  ready          created once the socket listens
"""

import http.server
import os
import sys


class Handler(http.server.BaseHTTPRequestHandler):
    state_dir = "."

    def do_GET(self):
        with open(os.path.join(self.state_dir, "requests.log"), "a") as log:
            log.write(self.path + "\n")
        body = self.read("answer.body", b"")
        status = int(self.read("answer.status", b"200").strip() or b"200")
        self.send_response(status)
        self.send_header("Content-Type", "application/json")
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def read(self, name, default):
        try:
            with open(os.path.join(self.state_dir, name), "rb") as f:
                return f.read()
        except OSError:
            return default

    def log_message(self, *args):
        pass


def main(argv):
    if len(argv) != 3:
        sys.stderr.write("usage: stub_config.py STATE_DIR PORT\n")
        return 2
    Handler.state_dir = argv[1]
    server = http.server.HTTPServer(("127.0.0.1", int(argv[2])), Handler)
    open(os.path.join(argv[1], "ready"), "w").close()
    server.serve_forever()
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
