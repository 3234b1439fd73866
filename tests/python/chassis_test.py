"""The chassis's Python interface and its pytest fixture, on chassis that run. Run by pytest, which brings the fixture."""

import os
import subprocess
import time
from pathlib import Path

import pytest

from orva.chassis import Chassis, ChassisError, NoSuchEvent, Refused

PROGRAM = os.environ["ORVA_CHASSIS"]


def test_the_boards_are_online_and_time_stands_still_between_commands(chassis):
    assert [event.slot for event in chassis.events("board", state="online")] == [0, 1, 2, 3, 4]
    begin = chassis.now()
    time.sleep(0.05)
    assert chassis.now() == begin
    chassis.wait(3.5)
    assert chassis.now() == begin + 3.5


@pytest.mark.chassis(boards=2, seed=7)
def test_the_marker_says_how_it_is_started(chassis):
    run = chassis.events("run")[0]
    assert (run["boards"], run["seed"], run["time"]) == (2, 7, "virtual")
    assert run.slot is None and run.number == 1


def test_a_stub_and_a_sensor_override_readings(chassis):
    chassis.set_stub(1, "caseTemp", 905)
    assert chassis.wait_for("reading", slot=1, sensor="outlet", source="stub")["value"] == 905
    assert "caseTemp" in chassis.command("stub", "list", 1)
    chassis.clear_stub(1)
    chassis.wait_for("reading", slot=1, sensor="outlet", source="hardware")
    chassis.set_sensor(2, "12V", 11000)
    assert chassis.wait_for("reading", slot=2, sensor="12V", source="simulated")["state"] == "low"
    chassis.clear_sensor(2)
    chassis.wait_for("reading", slot=2, sensor="12V", state="normal")
    chassis.set_online(3, 3, False)
    chassis.wait_for("heartbeat", slot=3, online=False, online_pair=True)


def test_faults_begin_and_end(chassis):
    with chassis.fault(1, "stuck", sensor="processor"):
        assert chassis.wait_for("fault", slot=1, on=True)["sensor"] == "processor"
    chassis.wait_for("fault", slot=1, fault="stuck", on=False)
    with pytest.raises(ZeroDivisionError), chassis.fault(2, "late", value=100):
        raise ZeroDivisionError
    chassis.wait_for("fault", slot=2, fault="late", on=False)


def test_boards_are_pulled_killed_and_restarted(chassis):
    chassis.pull(4)
    pulled = chassis.wait_for("board", slot=4, state="pulled")
    chassis.plug(4)
    chassis.wait_for("board", slot=4, state="online", since=pulled)
    chassis.restart(3)
    assert chassis.wait_for("process", slot=3, state="started")["starts"] == 2
    chassis.kill(2)
    assert chassis.wait_for("process", slot=2, state="ended")["status"] == 128 + 9


def test_an_hour_passes_on_the_diagnostic_clock(chassis):
    chassis.send(1, "long", 60)  # of these 48 are recorded
    chassis.advance(1, 3600)
    chassis.wait_for("log", slot=1, log="diagnostic", text=lambda text: "DiagID:371 drop: 12 logs in a hour." in text)


def test_a_wait_in_vain_says_what_came_nearest(chassis):
    begin = chassis.now()
    with pytest.raises(NoSuchEvent) as caught:
        chassis.wait_for("heartbeat", slot=1, within=2.5, warm=True, beat=lambda beat: beat > 0)
    assert chassis.now() == begin + 2.5
    first, nearest, *_ = str(caught.value).splitlines()
    assert first == "no heartbeat slot=1 warm=True beat within 2.5 s"
    assert nearest.startswith("nearest: ") and nearest.endswith("(not warm)") and " slot=1 " in nearest


def test_an_event_counts_from_the_last_command_or_from_where_it_is_said(chassis):
    assert chassis.wait_for("board", slot=2, state="online").time == 0
    chassis.kill(2)
    again = chassis.wait_for("board", slot=2, state="online")
    assert again.time > 0
    assert chassis.wait_for("board", slot=2, state="online", since=0).time == 0
    with pytest.raises(NoSuchEvent):
        chassis.wait_for("board", slot=2, state="online", since=again, within=1)


def test_a_command_is_refused_with_a_status(chassis):
    with pytest.raises(Refused, match="there is no board in slot 9") as caught:
        chassis.pull(9)
    assert caught.value.status == 1
    with pytest.raises(Refused, match="there is no command stbu") as caught:
        chassis.command("stbu", "set", 1, "caseTemp", 1)
    assert caught.value.status == 2


def test_two_runs_of_one_test_are_equal():
    files = []
    for pause in (0.0, 0.03):
        with Chassis.start(boards=2, seed=3) as chassis:
            chassis.kill(1)
            chassis.wait_for("board", slot=1, state="online")
            time.sleep(pause)
            chassis.set_sensor(2, "processor", 950)
            chassis.wait_for("reading", slot=2, state="high")
            chassis.wait(30)
            path = Path(chassis.folder, "events.jsonl")
            chassis.now()
            files.append(path.read_bytes())
    assert files[0] == files[1] and files[0].count(b"\n") > 300


def test_nothing_is_left_after_the_end():
    chassis = Chassis.start(boards=1)
    folder = chassis.folder
    chassis.end()
    chassis.end()
    assert not folder.exists()
    with pytest.raises(ChassisError, match="does not answer"):
        chassis.now()


def test_a_chassis_that_dies_is_named():
    chassis = Chassis.start(boards=1)
    subprocess.run(["kill", "-KILL", str(chassis._process.pid)], check=True)
    with pytest.raises(ChassisError, match="ended with status -9"):
        chassis.end()
    assert not chassis.folder.exists()


def test_a_built_in_scenario_runs_first():
    with Chassis.start("lost-board") as chassis:
        assert all(check["ok"] for check in chassis.events("check")) and chassis.events("check")
        assert chassis.events("board", slot=2, state="lost")


def test_a_scenario_with_a_mistake_is_refused_with_its_line(tmp_path):
    scenario = tmp_path / "wrong.toml"
    scenario.write_text('name = "wrong"\ntext = "a key that there is not"\nbords = 1\n')
    with pytest.raises(ChassisError, match="wrong.toml:3"):
        Chassis.start(scenario)


def test_a_running_chassis_is_joined_and_goes_on(tmp_path):
    folder = tmp_path / ("a folder with a path that is longer than the address of a socket may be " * 2)
    folder.mkdir()
    events = tmp_path / "events.jsonl"
    scenario = tmp_path / "alone.toml"
    scenario.write_text('name = "alone"\ntext = "a board alone"\nboards = 1\n')
    with subprocess.Popen([PROGRAM, "run", scenario, "--hold", "--run-dir", folder, "--events", events],
                          stdout=subprocess.DEVNULL) as process:
        while not (folder / "control").exists() and process.poll() is None:
            time.sleep(0.01)
        with Chassis.join(folder, events=events) as chassis:
            chassis.set_sensor(1, "processor", 950)
            chassis.wait_for("reading", slot=1, sensor="processor", state="high")
            assert chassis.events("action", command="sensor set 1 processor 950")
            with pytest.raises(NoSuchEvent):  # which is no failure of the run
                chassis.wait_for("fault", within=0.1)
        assert process.poll() is None
        with pytest.raises(ChassisError, match="no event file"):
            Chassis.join(folder).events()
        Chassis.join(folder).command("end")
        assert process.wait(30) == 0
    with pytest.raises(ChassisError, match="no chassis runs"):
        Chassis.join(folder)


def test_a_step_that_waits_in_vain_fails_its_run(tmp_path):
    scenario = tmp_path / "vain.toml"
    for wait, status in (("wait 0.1 fault", 1), ("wait 0.1 fault 0", 0)):
        scenario.write_text(f'name = "vain"\ntext = "t"\nboards = 1\n[[step]]\ntitle = "s"\ndo = ["{wait}"]\n')
        assert subprocess.run([PROGRAM, "run", scenario], stdout=subprocess.DEVNULL, check=False).returncode == status


def test_the_fixture_shows_the_last_events_of_a_failed_test_and_keeps_its_folder(tmp_path):
    (tmp_path / "test_it.py").write_text(
        "def test_it(chassis):\n    chassis.kill(2)\n    print('folder', chassis.folder)\n    assert False\n")
    result = subprocess.run(["/usr/bin/env", "TMPDIR=" + str(tmp_path), os.environ["ORVA_PYTHON"], "-m", "pytest",
                             "-p", "no:cacheprovider", tmp_path / "test_it.py"], capture_output=True, text=True)
    assert result.returncode == 1, result.stdout + result.stderr
    assert "action command=kill 2 status=0" in result.stdout
    kept = list(tmp_path.glob("orva-chassis.*"))
    assert len(kept) == 1 and f"folder: {kept[0]}" in result.stdout and (kept[0] / "slot02").is_dir()
