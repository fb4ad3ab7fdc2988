# Stand-in for the device's configuration service: stub_config.py STATE_DIR PORT serves
# 127.0.0.1:PORT of its namespace. Each GET is answered from STATE_DIR/answer.body and
# answer.status (default 200), read afresh, and logged to requests.log; STATE_DIR/ready
# appears once it listens.

import http.server
import os
import sys


class Handler(http.server.BaseHTTPRequestHandler):
    state = "."

    def read(self, name, default=None):
        try:
            with open(os.path.join(self.state, name), "rb") as f:
                return f.read()
        except FileNotFoundError:
            return default

    def do_GET(self):
        with open(os.path.join(self.state, "requests.log"), "a") as log:
            log.write(self.path + "\n")
        body = self.read("answer.body")
        self.send_response(int(self.read("answer.status", b"200")))
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, *args):
        pass


def main(argv):
    Handler.state = argv[1]
    server = http.server.HTTPServer(("127.0.0.1", int(argv[2])), Handler)
    open(os.path.join(argv[1], "ready"), "w").close()
    server.serve_forever()


if __name__ == "__main__":
    sys.exit(main(sys.argv))
