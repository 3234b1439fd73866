"""The web server of a chassis as strangers meet it: foreign names, no token, malformed, slow and many clients.
usage: chassis_http_test.py PROGRAM"""
import os
import re
import select
import signal
import socket
import subprocess
import sys
import tempfile
import threading
import time

from chassis_page_support import Chassis, check, skip, wait_for

CLIENTS = 200


def connected(chassis, buffer=None):
    client = socket.socket()
    if buffer:
        client.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, buffer)
    client.settimeout(30)
    client.connect((chassis.host, chassis.port))
    return client


def raw(chassis, request):
    """The answer to these bytes, until the server closes the connection."""
    with connected(chassis) as client:
        try:
            client.sendall(request)
            client.shutdown(socket.SHUT_WR)
            answer = b""
            while piece := client.recv(65536):
                answer += piece
        except OSError:
            return b""
        return answer


def status_of(answer):
    found = re.match(rb"HTTP/1\.1 (\d+) ", answer)
    return int(found[1]) if found else 0


def the_page_needs_nothing_from_outside(chassis):
    status, headers, body = chassis.get("/")
    check(status == 200, status)
    policy = headers["Content-Security-Policy"]
    check("default-src 'none'" in policy and "unsafe" not in policy, policy)
    check(headers["X-Content-Type-Options"] == "nosniff" and headers["Cache-Control"] == "no-store", headers)
    page = body.decode()
    for path in re.findall(r'(?:src|href)="([^"#]*)"', page):
        status, headers, _ = chassis.get(path)
        check(status == 200 and headers["Content-Security-Policy"] == policy, f"{path}: {status}")
    check(not re.search(r"<script>|<style|\son\w+=|\sstyle=", page), "no inline script or style")
    check("http://" not in page and "https://" not in page, "nothing from outside")
    for path in ("/nothing", "/history", "/history?slot=9", "/history?slot=x", "/%00", "/../etc/passwd"):
        check(chassis.get(path)[0] == 404, path)


def foreign_names_are_refused(chassis):
    port = chassis.port
    for host, expected in ((f"127.0.0.1:{port}", 200), (f"localhost:{port}", 200), (f"[::1]:{port}", 200),
                           ("127.0.0.1", 421), (f"127.0.0.1:{port + 1}", 421), (f"example.org:{port}", 421),
                           (f"localhost.example.org:{port}", 421), ("", 400), (f"10.0.0.1:{port}", 421)):
        status = chassis.get("/metrics", {"Host": host})[0]
        check(status == expected, f"Host: {host}: {status}")
    check(status_of(raw(chassis, b"GET / HTTP/1.1\r\n\r\n")) == 400, "no Host")
    two = f"GET / HTTP/1.1\r\nHost: localhost:{port}\r\nHost: localhost:{port}\r\n\r\n"
    check(status_of(raw(chassis, two.encode())) == 400, "two Hosts")
    for origin, expected in ((f"http://127.0.0.1:{port}", 200), (f"https://127.0.0.1:{port}", 403), ("null", 403),
                             ("http://example.org", 403), (f"http://example.org:{port}", 403)):
        status = chassis.get("/metrics", {"Origin": origin})[0]
        check(status == expected, f"Origin: {origin}: {status}")


def changes_need_the_token(chassis):
    online = 'orva_board_state{slot="3",state="online"}'
    pull = '{"words": ["pull", "3"]}'
    json_type = {"Content-Type": "application/json"}
    token = {"X-Orva-Token": chassis.token}
    for headers, expected in ((json_type, 403), ({**json_type, "X-Orva-Token": ""}, 403),
                              ({**json_type, "X-Orva-Token": chassis.token[:-1] + "z"}, 403),
                              ({**json_type, **token, "Origin": "http://example.org"}, 403),
                              ({**json_type, **token, "Host": "example.org"}, 421),
                              ({**token, "Content-Type": "text/plain"}, 415)):
        status = chassis.request("POST", "/command", pull, headers)[0]
        check(status == expected, f"{headers}: {status}")
    check(chassis.request("GET", "/command")[0] == 404, "a command is not a GET")
    for method in ("PUT", "DELETE", "OPTIONS", "PATCH"):
        status = chassis.request(method, "/command", headers=token)[0]
        check(status == 405, f"{method}: {status}")
    check(chassis.token not in chassis.get("/")[2].decode() + chassis.metrics(), "nothing served holds the token")
    check(chassis.metric(online) == 1, "board 3 is still there")
    for body in ("", "{}", "[]", '{"words": [1]}', '{"words": "pull 3"}', "{" * 3000, '{"words": ["' + "x" * 5000 + '"]}'):
        status = chassis.request("POST", "/command", body, {**json_type, **token})[0]
        check(status in (400, 413), f"{body[:20]}: {status}")
    refused = chassis.command("pull", "nowhere")
    check(refused["status"] == 2 and "nowhere" in refused["text"], refused)
    done = chassis.command("pull", "3")
    check(done["status"] == 0, done)
    wait_for(lambda: chassis.metric('orva_board_state{slot="3",state="pulled"}') == 1, "board 3 is pulled")
    chassis.command("plug", "3")
    wait_for(lambda: chassis.metric(online) == 1, "board 3 is back")


def malformed_requests_are_survived(chassis):
    host = f"Host: 127.0.0.1:{chassis.port}\r\n".encode()
    post = b"POST /command HTTP/1.1\r\n" + host + b"Content-Type: application/json\r\nX-Orva-Token: " + \
        chassis.token.encode() + b"\r\n"
    for request in (
            b"", b"\r\n\r\n", b"\0" * 5000, bytes(range(256)) * 40, b"GET\r\n\r\n", b"GET / HTTP/9.9\r\n\r\n",
            b"GET " + b"/" * 20000 + b" HTTP/1.1\r\n" + host + b"\r\n",
            b"GET / HTTP/1.1\r\n" + host + b"X: " + b"y" * 100000 + b"\r\n\r\n",
            b"GET / HTTP/1.1\r\n" + host + b"".join(b"X%d: y\r\n" % i for i in range(20000)) + b"\r\n",
            post + b"Content-Length: -1\r\n\r\n{}", post + b"Content-Length: 99999999999999999999\r\n\r\n{}",
            post + b"Content-Length: 1000000000\r\n\r\n{}",
            post + b"Transfer-Encoding: chunked\r\n\r\n" + b"ffff\r\n" + b"z" * 0xffff + b"\r\n" * 2,
            post + b"Transfer-Encoding: chunked\r\n\r\nzzzz\r\n",
            post + b"Content-Encoding: gzip\r\nContent-Length: 4\r\n\r\n\x1f\x8b\x08\x00",
            b"GET /chart.js HTTP/1.1\r\n" + host + b"Range: bytes=" + b",".join([b"0-99999"] * 900) + b"\r\n\r\n",
            post + b"Content-Length: 2\r\n\r\n{}GET /history?slot=1 HTTP/1.1\r\n" + host + b"\r\n"):
        answer = raw(chassis, request)
        check(len(answer) < 300000 and answer.count(b"HTTP/1.1 ") <= 1, f"{request[:60]!r}: {answer[:200]!r}")
        check(status_of(answer) != 200 or request.startswith(b"GET /chart.js"), f"{request[:60]!r}: {answer[:200]!r}")
        check(chassis.get("/style.css")[0] == 200, f"after {request[:60]!r}")


class SlowClients:
    """They send a byte now and then; each is closed before long."""

    def __init__(self, chassis, count):
        self.began = time.monotonic()
        self.clients = [connected(chassis) for _ in range(count)]
        for client in self.clients:
            client.sendall(b"GET / HTTP/1.1\r\nX-Slow: ")

    def end(self):
        open_clients = set(self.clients)
        while open_clients:
            check(time.monotonic() - self.began < 40, f"{len(open_clients)} slow clients are still served")
            for client in list(open_clients):
                try:
                    client.send(b"y")
                    ended = select.select([client], [], [], 0)[0] and not client.recv(4096)
                except OSError:
                    ended = True
                if ended:
                    open_clients.remove(client)
            time.sleep(0.5)
        for client in self.clients:
            client.close()


class DeafClient:
    """Opens the page's stream and never reads."""

    def __init__(self, chassis):
        self.client = connected(chassis, buffer=4096)
        self.client.sendall(f"GET /live HTTP/1.1\r\nHost: 127.0.0.1:{chassis.port}\r\n\r\n".encode())


def read_until(client, text, patience=30):
    taken = b""
    client.settimeout(patience)
    while text not in taken:
        piece = client.recv(65536)
        check(piece, f"the stream ended before {text!r}")
        taken = taken[-200:] + piece
    return taken


def many_clients_are_served(chassis):
    clients = []
    for _ in range(CLIENTS):
        client = connected(chassis)
        client.sendall(f"GET /live HTTP/1.1\r\nHost: 127.0.0.1:{chassis.port}\r\n\r\n".encode())
        clients.append(client)
    for client in clients:
        read_until(client, b"event: snapshot")
    check(chassis.metric("orva_web_clients") >= CLIENTS, "every client is counted")
    check(chassis.get("/")[0] == 200, "another page is served")
    chassis.command("pull", "4")
    for client in clients:
        read_until(client, b'"state":"pulled"')
    beyond = [connected(chassis) for _ in range(40)]
    for client in beyond:
        client.sendall(f"GET /live HTTP/1.1\r\nHost: 127.0.0.1:{chassis.port}\r\n\r\n".encode())
    answers = [status_of(client.recv(4096)) for client in beyond]
    check(set(answers) == {200, 503}, answers)
    check(chassis.metric("orva_web_clients") <= 224, "there is a limit")
    for client in clients + beyond:
        client.close()
    chassis.command("plug", "4")
    wait_for(lambda: chassis.metric("orva_web_clients") <= 1, "the pages that were closed are forgotten")


def strangers_are_met(program):
    with Chassis(program, "overrides", "--seconds", "1", "--boards", "4") as chassis:
        chassis.shows("after the scenario")
        slow = SlowClients(chassis, 32)
        deaf = DeafClient(chassis)
        began = time.monotonic()
        the_page_needs_nothing_from_outside(chassis)
        foreign_names_are_refused(chassis)
        changes_need_the_token(chassis)
        malformed_requests_are_survived(chassis)
        check(time.monotonic() - began < 30, "slow clients hold nobody up")
        flood = threading.Thread(target=chassis.command, args=("send", "1", "long", "6000"))
        flood.start()
        slow.end()
        wait_for(lambda: chassis.metric("orva_web_dropped_clients_total") >= 1, "who does not read is dropped")
        flood.join()
        deaf.client.close()
        many_clients_are_served(chassis)


def events_of(program, folder, name, *options):
    path = os.path.join(folder, name)
    with subprocess.Popen([program, "run", "killed", "--time", "virtual", "--events", path, *options],
                          stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True) as process:
        output = ""
        for line in process.stdout:
            output += line
            if "the page is served" in line:
                process.send_signal(signal.SIGINT)
    if "stepped clock" in output:
        skip("this build cannot follow the stepped clock")
    check(process.returncode == (130 if "--web" in options else 0), f"{options}: {process.returncode}\n{output}")
    with open(path, encoding="utf-8") as stream:
        return stream.read()


def watchers_do_not_disturb(program, folder):
    """A virtual run writes the same event file, whoever watches it."""
    plain = events_of(program, folder, "plain.jsonl")
    check(plain.count("\n") > 100, plain)
    report = os.path.join(folder, "report.html")
    watched = events_of(program, folder, "watched.jsonl", "--report", report, "--web")
    check(plain == watched, "the event files differ")
    with open(report, encoding="utf-8") as stream:
        check("</html>" in stream.read(), "the report is whole")


def bad_addresses_are_refused(program):
    for address in ("nonsense", "127.0.0.1", ":80", "127.0.0.1:65536", "[1.2.3.4]:80", "127.0.0.1:"):
        done = subprocess.run([program, "run", "--web", address], capture_output=True, text=True, timeout=60)
        check(done.returncode == 2 and "ADDRESS:PORT" in done.stderr, f"{address}: {done}")
    with socket.socket() as taken:
        taken.bind(("127.0.0.1", 0))
        taken.listen()
        address = f"127.0.0.1:{taken.getsockname()[1]}"
        done = subprocess.run([program, "run", "killed", "--web", address], capture_output=True, text=True, timeout=60)
        check(done.returncode == 2 and "cannot be served" in done.stderr, f"{address}: {done}")


def main():
    program, part = sys.argv[1:3]
    if part == "strangers":
        strangers_are_met(program)
        bad_addresses_are_refused(program)
    else:
        with tempfile.TemporaryDirectory() as folder:
            watchers_do_not_disturb(program, folder)
    print("ok")


main()
