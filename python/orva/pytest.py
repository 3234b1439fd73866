"""The pytest fixture `chassis`: a chassis in virtual time for each test that names it.

    @pytest.mark.chassis(boards=2, seed=7)
    def test_a_pulled_board_is_gone(chassis):
        chassis.pull(2)

pytest finds the fixture by itself where the package is installed; elsewhere `pytest -p orva.pytest` does. The marker takes
the arguments of `Chassis.start`. After a failure the report shows the last events, and the chassis's folder is kept.
"""

from __future__ import annotations

from collections.abc import Iterator

import pytest

from orva.chassis import Chassis

_EVENTS_SHOWN = 15
_FAILED = pytest.StashKey[bool]()


def pytest_configure(config: pytest.Config) -> None:
    config.addinivalue_line("markers", "chassis(**arguments): how the fixture chassis starts it, as for Chassis.start")


@pytest.fixture
def chassis(request: pytest.FixtureRequest) -> Iterator[Chassis]:
    """A chassis of four boards in virtual time, or as the test's marker says. It ends with the test."""
    marker = request.node.get_closest_marker("chassis")
    started = Chassis.start(*(marker.args if marker else ()), **(marker.kwargs if marker else {}))
    yield started
    started.end(keep=request.node.stash.get(_FAILED, False))


def pytest_exception_interact(node: object, report: pytest.CollectReport | pytest.TestReport) -> None:
    started = node.funcargs.get("chassis") if isinstance(node, pytest.Function) else None
    if report.when == "call" and isinstance(node, pytest.Function) and isinstance(started, Chassis):
        node.stash[_FAILED] = True
        lines = [f"folder: {started.folder}", *map(str, started.events()[-_EVENTS_SHOWN:])]
        report.sections.append(("chassis", "\n".join(lines)))
