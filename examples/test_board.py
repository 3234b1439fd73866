"""A test of a board. Run it with pytest; python3-orva brings the fixture `chassis`, a chassis in virtual time."""

import pytest


def test_a_hot_processor_is_reported_and_cools_down(chassis):
    chassis.set_sensor(1, "processor", 950)
    hot = chassis.wait_for("reading", slot=1, sensor="processor", state="high")
    assert (hot["value"], hot["source"]) == (950, "simulated")
    chassis.clear_sensor(1, "processor")
    chassis.wait_for("reading", slot=1, sensor="processor", state="normal", source="hardware")


def test_a_killed_board_comes_back_within_two_seconds(chassis):
    chassis.kill(2)
    lost = chassis.wait_for("board", slot=2, state="lost")
    chassis.wait_for("board", slot=2, state="online", since=lost, within=2)
    assert chassis.wait_for("process", slot=2, state="started")["starts"] == 2


def test_a_board_that_does_not_answer_is_lost_and_found_again(chassis):
    with chassis.fault(3, "no-answer"):
        chassis.wait_for("board", slot=3, state="lost", within=30)
        chassis.wait(60)
    chassis.wait_for("board", slot=3, state="online", within=30)


@pytest.mark.chassis(boards=1)
def test_a_packet_that_is_too_long_is_refused(chassis):
    chassis.send(1, "long")
    assert chassis.wait_for("request", slot=1, result="refused")["code"] == 0x03E300C6
