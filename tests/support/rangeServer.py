#!/usr/bin/env python3
"""rangeServer.py FOLDER LOG [FAILURES]: serves the files of a folder to this machine, ranges of bytes too.

Prints its port and its process. LOG gets a line with the number of bytes for each request. The first FAILURES requests
for ranges are answered with 503.
"""
import http.server
import os
import re
import sys


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    failures = int(sys.argv[3]) if len(sys.argv) > 3 else 0

    def answer(self, status, contents, headers=()):
        self.send_response(status)
        self.send_header("Accept-Ranges", "bytes")
        self.send_header("Content-Length", str(len(contents)))
        for name, value in headers:
            self.send_header(name, value)
        self.end_headers()
        if self.command != "HEAD":
            self.wfile.write(contents)
            with open(sys.argv[2], "a", encoding="ascii") as log:
                log.write(f"{len(contents)}\n")

    def do_GET(self):
        try:
            with open(os.path.join(sys.argv[1], os.path.basename(self.path)), "rb") as file:
                contents = file.read()
        except OSError:
            self.answer(404, b"")
            return
        asked = re.fullmatch(r"bytes=(\d+)-(\d*)", self.headers.get("Range", ""))
        if not asked:
            self.answer(200, contents)
            return
        if Handler.failures > 0:
            Handler.failures -= 1
            self.answer(503, b"")
            return
        first = int(asked[1])
        last = min(int(asked[2] or len(contents)), len(contents) - 1)
        self.answer(206, contents[first:last + 1], [("Content-Range", f"bytes {first}-{last}/{len(contents)}")])

    do_HEAD = do_GET

    def log_message(self, *_):
        pass


server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
print(server.server_address[1], os.getpid(), flush=True)
server.serve_forever()
