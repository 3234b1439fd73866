"""Two chassis that a real Prometheus watches, with the alert rules that are installed.
usage: chassis_prometheus_test.py PROGRAM RULES RULES_TEST"""
import contextlib
import json
import os
import shutil
import socket
import subprocess
import sys
import tempfile
import urllib.request

from chassis_page_support import Chassis, check, skip, wait_for

PROMETHEUS = "/usr/bin/prometheus"
PROMTOOL = "/usr/bin/promtool"


def tool(*arguments, text=None):
    done = subprocess.run([PROMTOOL, *arguments], input=text, capture_output=True, text=True, timeout=60)
    check(done.returncode == 0, f"promtool {' '.join(arguments)}:\n{done.stdout}{done.stderr}")


def the_rules_are_sound(rules, test, folder):
    tool("check", "rules", rules)
    for path in (rules, test):
        shutil.copy(path, folder)
    tool("test", "rules", os.path.join(folder, os.path.basename(test)))


def free_port():
    with socket.socket() as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


@contextlib.contextmanager
def prometheus(folder, rules, targets):
    config = os.path.join(folder, "prometheus.yml")
    with open(config, "w", encoding="utf-8") as stream:
        stream.write("global: {scrape_interval: 1s, evaluation_interval: 1s}\n"
                     f"rule_files: [{json.dumps(rules)}]\n"
                     "scrape_configs:\n"
                     f"  - job_name: orva-chassis\n    static_configs: [{{targets: {json.dumps(targets)}}}]\n")
    tool("check", "config", config)
    address = f"127.0.0.1:{free_port()}"
    with open(os.path.join(folder, "prometheus.log"), "wb") as log, \
            subprocess.Popen([PROMETHEUS, f"--config.file={config}", f"--storage.tsdb.path={folder}/data",
                              f"--web.listen-address={address}", "--log.level=warn"], stdout=log, stderr=log) as server:
        def ask(path):
            check(server.poll() is None, "Prometheus has ended")
            try:
                with urllib.request.urlopen(f"http://{address}/api/v1/{path}", timeout=10) as answer:
                    return json.load(answer)["data"]
            except OSError:
                return None
        try:
            yield ask
        finally:
            server.kill()


def targets_up(ask):
    targets = (ask("targets") or {}).get("activeTargets", [])
    return len(targets) == 2 and all(target["health"] == "up" for target in targets)


def firing(ask):
    """(alert, instance, slot) of the alerts that fire."""
    return {(alert["labels"]["alertname"], alert["labels"]["instance"], alert["labels"].get("slot"))
            for alert in (ask("alerts") or {}).get("alerts", []) if alert["state"] == "firing"}


def boards_online(ask):
    series = ask("query?query=count(orva_board_state%7Bstate=%22online%22%7D==1)")
    return series["result"][0]["value"][1]


def two_chassis_are_watched(program, rules, folder):
    arguments = ("overrides", "--seconds", "1", "--boards", "2", "--no-restart")
    with Chassis(program, *arguments) as first, Chassis(program, *arguments) as second:
        names = [f"{chassis.host}:{chassis.port}" for chassis in (first, second)]
        for chassis in (first, second):
            chassis.shows("after the scenario")
        with prometheus(folder, rules, names) as ask:
            wait_for(lambda: targets_up(ask), "both chassis are up")
            check(not firing(ask), firing(ask))
            first.command("kill", "2")
            first.command("fault", "start", "1", "drift", "inlet", "60000")
            second.command("send", "1", "long", "200")
            expected = {("OrvaBoardLost", names[0], "2"), ("OrvaSensorNotNormal", names[0], "1"),
                        ("OrvaLogRecordsDropped", names[1], "1")}
            wait_for(lambda: expected <= firing(ask), "the alerts fire", pause=0.5)
            check(firing(ask) == expected, firing(ask))
            first.command("plug", "2")
            first.command("fault", "end", "1", "drift", "inlet")
            wait_for(lambda: firing(ask) == {("OrvaLogRecordsDropped", names[1], "1")}, "two alerts end", pause=0.5)
            wait_for(lambda: boards_online(ask) == "4", "four boards are online")
            # Everything that is served by now: figures and timings too.
            for chassis in (first, second):
                text = chassis.metrics()
                tool("check", "metrics", text=text)
                for name in ("orva_request_path_seconds", "orva_queue_bytes", "orva_log_records_dropped"):
                    check(f"\n{name}{{" in text, f"{name} is missing")


def main():
    program, rules, test = sys.argv[1], *map(os.path.abspath, sys.argv[2:4])
    for needed in (PROMETHEUS, PROMTOOL):
        if not os.path.exists(needed):
            skip("prometheus is not installed")
    with tempfile.TemporaryDirectory() as folder:
        the_rules_are_sound(rules, test, folder)
        two_chassis_are_watched(program, rules, folder)
    print("ok")


main()
