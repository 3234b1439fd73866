"""A chassis with its page, for the tests of both."""
import http.client
import json
import os
import re
import signal
import subprocess
import sys
import tempfile
import time

SKIPPED = 77
PATIENCE = 60


def skip(reason):
    print(f"skipped: {reason}")
    sys.exit(SKIPPED)


def check(condition, text):
    """Unlike assert, it holds with python -O too."""
    if not condition:
        raise AssertionError(text)


def wait_for(what, text, patience=PATIENCE, pause=0.05):
    """Returns the first result of `what` that is true."""
    deadline = time.monotonic() + patience
    while True:
        result = what()
        if result:
            return result
        check(time.monotonic() < deadline, f"not within {patience} s: {text}")
        time.sleep(pause)


class Chassis:
    """orva-chassis run ARGUMENTS --web, from its start to Ctrl-C."""

    def __init__(self, program, *arguments, web=()):
        self.folder = tempfile.TemporaryDirectory(prefix="orva_page_")
        self.output_path = os.path.join(self.folder.name, "output")
        with open(self.output_path, "wb") as output:
            self.process = subprocess.Popen(
                [program, "run", *arguments, "--web", *web], stdout=output, stderr=subprocess.STDOUT,
                env={**os.environ, "TMPDIR": self.folder.name})
        try:
            url = wait_for(lambda: re.search(r"http://(\S+):(\d+)/#([0-9a-f]{32})", self.output()) or self.ended(),
                           "the address of the page is printed")
        except BaseException:
            self.process.kill()
            raise
        check(url is not True, f"it ended early:\n{self.output()}")
        self.url, self.host, self.port, self.token = url[0], url[1], int(url[2]), url[3]

    def ended(self):
        return self.process.poll() is not None

    def __enter__(self):
        return self

    def __exit__(self, kind, *_):
        if kind is None:
            self.stop()
        else:
            print(self.output()[-4000:])
            self.process.kill()
        self.process.wait()
        self.folder.cleanup()

    def output(self):
        with open(self.output_path, encoding="utf-8", errors="replace") as stream:
            return stream.read()

    def shows(self, text):
        wait_for(lambda: text in self.output(), f"the chassis shows {text!r}")

    def stop(self):
        """Ctrl-C: the chassis ends in good order."""
        self.process.send_signal(signal.SIGINT)
        status = self.process.wait(PATIENCE)
        check(status == 128 + signal.SIGINT, f"exit status {status}:\n{self.output()}")
        check("every process and every queue of the chassis is gone" in self.output(), self.output())
        check("[FAILED]" not in self.output(), self.output())

    def request(self, method, path, body=None, headers=None):
        connection = http.client.HTTPConnection(self.host, self.port, timeout=PATIENCE)
        try:
            connection.request(method, path, body, headers or {})
            response = connection.getresponse()
            return response.status, dict(response.getheaders()), response.read()
        finally:
            connection.close()

    def get(self, path, headers=None):
        return self.request("GET", path, headers=headers)

    def metrics(self):
        return self.get("/metrics")[2].decode()

    def metric(self, sample):
        """The value of a sample, as it is written with its labels."""
        found = re.search("^" + re.escape(sample) + r" (\S+)$", self.metrics(), re.MULTILINE)
        return float(found[1]) if found else None

    def command(self, *words):
        status, _, body = self.request(
            "POST", "/command", json.dumps({"words": words}),
            {"Content-Type": "application/json", "X-Orva-Token": self.token})
        check(status == 200, f"{words}: {status} {body!r}")
        return json.loads(body)
