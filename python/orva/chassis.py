"""A chassis for tests: start or join one, give it commands, make it fail, let its time pass, read its events.

    with Chassis.start(boards=3) as chassis:
        chassis.set_sensor(1, "processor", 950)
        reading = chassis.wait_for("reading", slot=1, sensor="processor", state="high")

Needs the program orva-chassis. In virtual time, which is the default, the chassis's clock stands still except during a
command, so a test is fast and two runs of it are equal.
"""

from __future__ import annotations

import bisect
import contextlib
import ctypes
import json
import os
import shutil
import signal
import socket
import subprocess
import tempfile
import time
from collections.abc import Iterator, Mapping
from dataclasses import dataclass
from pathlib import Path
from types import TracebackType
from typing import IO, Any, Literal

PROGRAM_VARIABLE = "ORVA_CHASSIS"

_BOARDS_ALONE = b'name = "boards"\ntext = "boards that wait for commands"\n'
_EVENT_FILE = "events.jsonl"
_MAX_MESSAGE_BYTES = 65536
_PATIENCE_S = 60.0  # of the machine's time
_SHORTEST_WAIT_S = 0.001
_LONGEST_WAIT_S = 86400.0
_LONGEST_JOINED_WAIT_S = 1.0  # others give commands too
_PR_SET_PDEATHSIG = 1


class ChassisError(Exception):
    """The chassis does not start, does not answer, or has left something behind."""


class Refused(ChassisError):
    """The chassis refuses a command. `status` is 1, or 2 for a command that does not exist."""

    def __init__(self, text: str, status: int) -> None:
        super().__init__(text)
        self.status = status


class NoSuchEvent(AssertionError):
    """No event came that was waited for. The text says what came nearest."""


@dataclass(frozen=True)
class Event:
    """Something that happened. The page of scenarios lists the kinds and their values.

    `number` counts from 1, `time` is in seconds since power-on, `slot` is None where there is no board.
    """

    number: int
    time: float
    kind: str
    slot: int | None
    values: Mapping[str, Any]

    def __getitem__(self, name: str) -> Any:
        return self.values[name]

    def __str__(self) -> str:
        where = "" if self.slot is None else f" slot={self.slot}"
        return f"{self.time:.3f} s {self.kind}{where}" + "".join(f" {k}={v}".rstrip() for k, v in self.values.items())


class Chassis:
    """A chassis that runs. Made by `start` and `join`; not for several threads."""

    def __init__(self, folder: Path, events: Path | None) -> None:
        self.folder = folder
        self._events_path = events
        self._read_bytes = 0
        self._log: list[Event] = []
        self._mark = 0  # number of the last event before the last command
        self._process: subprocess.Popen[bytes] | None = None
        self._output: IO[bytes] | None = None
        self._longest_wait_s = _LONGEST_WAIT_S
        self._is_held = True  # nothing happens between commands
        self._has_ended = False

    # ---- Begin and end

    @classmethod
    def start(
        cls,
        scenario: str | os.PathLike[str] | None = None,
        *,
        boards: int | None = None,
        seed: int | None = None,
        time: Literal["virtual", "real"] = "virtual",
        restart: bool = True,
        agent: str | os.PathLike[str] | None = None,
        program: str | os.PathLike[str] | None = None,
    ) -> Chassis:
        """Starts a chassis and returns when its boards have registered and the scenario's steps are done.

        `scenario`: a file or the name of a built-in one; without it there are only boards, 4 or as many as `boards`
        says. `restart`: a board's process that ends is started again. `agent`: the program of the boards. `program`:
        orva-chassis itself; without it the one that ORVA_CHASSIS names, or the one on the path.
        """
        folder = Path(tempfile.mkdtemp(prefix="orva-chassis."))
        chassis = cls(folder, folder / _EVENT_FILE)
        chassis._is_held = time == "virtual"
        words = [os.fspath(program or os.environ.get(PROGRAM_VARIABLE) or "orva-chassis"), "run"]
        words += ["/dev/stdin" if scenario is None else os.fspath(scenario), "--hold", "--time", time]
        words += ["--run-dir", os.fspath(folder), "--events", os.fspath(folder / _EVENT_FILE)]
        words += [] if boards is None else ["--boards", str(boards)]
        words += [] if seed is None else ["--seed", str(seed)]
        words += [] if restart else ["--no-restart"]
        words += [] if agent is None else ["--agent", os.path.abspath(agent)]
        try:
            chassis._start(words)
            chassis._await_commands()
            chassis.now()  # writes the events so far
        except BaseException:
            chassis._kill()
            shutil.rmtree(folder, ignore_errors=True)
            raise
        return chassis

    @classmethod
    def join(
        cls, folder: str | os.PathLike[str] | None = None, *, events: str | os.PathLike[str] | None = None
    ) -> Chassis:
        """Joins a chassis that runs already. It goes on after `end`.

        `folder`: its run folder; without it, that of the one that runs. `events`: the file that it was told to write
        its events to; without it, events.jsonl in its folder.
        """
        if folder is None:
            found = _running_folders()
            if len(found) != 1:
                raise ChassisError("several chassis run" if found else "no chassis runs")
            folder = found[0]
        path = Path(events) if events is not None else Path(folder, _EVENT_FILE)
        if not _takes_commands(Path(folder)):
            raise ChassisError(f"no chassis runs in {folder}")
        chassis = cls(Path(folder), path if path.exists() else None)
        chassis._longest_wait_s = _LONGEST_JOINED_WAIT_S
        chassis._is_held = False
        chassis.now()
        chassis._set_mark()
        return chassis

    def end(self, *, keep: bool = False) -> None:
        """Ends a chassis that was started here. `keep`: leaves its folder, with descriptions and logs.

        Raises ChassisError when a process or a queue of the chassis is left.
        """
        process = self._process
        if process is None or self._has_ended:
            return
        try:
            with contextlib.suppress(ChassisError):  # its status tells more
                self._ask(["end"])
            self._has_ended = True
            try:
                process.wait(_PATIENCE_S)
            except subprocess.TimeoutExpired:
                self._kill()
            ends = [event for event in self._read() if event.kind == "end"]
            if not ends:
                raise ChassisError(f"the chassis ended with status {process.returncode}: {self.output()[-2000:]}")
            if ends[0]["processes_left"] or ends[0]["queues_left"]:
                raise ChassisError(f"the chassis left something behind: {ends[0]}")
        finally:
            if not keep:
                shutil.rmtree(self.folder, ignore_errors=True)

    def __enter__(self) -> Chassis:
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        # What went wrong first is what counts.
        with contextlib.suppress(*([] if error is None else [ChassisError])):
            self.end()

    def output(self) -> str:
        """What the program has printed, when it was started here."""
        if self._output is None:
            return ""
        self._output.seek(0)
        return self._output.read().decode("utf-8", "replace")

    def _start(self, words: list[str]) -> None:
        self._output = output = tempfile.TemporaryFile()
        with tempfile.TemporaryFile() as boards_alone:
            boards_alone.write(_BOARDS_ALONE)
            boards_alone.seek(0)
            self._process = subprocess.Popen(
                words,
                stdin=boards_alone,
                stdout=output,
                stderr=subprocess.STDOUT,
                preexec_fn=_end_with_parent,  # a test that is killed leaves no chassis behind
            )

    def _await_commands(self) -> None:
        assert self._process is not None
        patience = time.monotonic() + _PATIENCE_S
        while not _takes_commands(self.folder):
            if self._process.poll() is not None:
                raise ChassisError(f"orva-chassis does not start: {self.output()[-2000:]}")
            if time.monotonic() > patience:
                raise ChassisError(f"orva-chassis takes no commands after {_PATIENCE_S:.0f} s")
            time.sleep(0.005)

    def _kill(self) -> None:
        if self._process is not None:
            self._process.terminate()
            self._process.wait()

    # ---- Commands

    def command(self, *words: object) -> str:
        """Gives a command, as the program orva-chassis has them, and returns its output.

        Raises Refused when it is refused.

        >>> chassis.command("stub", "set", 1, "caseTemp", 905)
        """
        self._set_mark()
        return self._ask([str(word) for word in words])

    def _ask(self, words: list[str], waits_s: float = 0) -> str:
        try:
            with _connect(self.folder) as connection:
                connection.settimeout(_PATIENCE_S + waits_s)
                connection.send("".join(word + "\n" for word in words).encode())
                reply = connection.recv(_MAX_MESSAGE_BYTES).decode("utf-8", "replace")
        except OSError as error:
            raise ChassisError(f"the chassis does not answer: {error}\n{self.output()[-2000:]}") from error
        status, newline, text = reply.partition("\n")
        if not newline:
            raise ChassisError(f"the chassis has ended\n{self.output()[-2000:]}")
        if status != "0":
            raise Refused(f"{' '.join(words)}: {text.strip()}", int(status))
        return text

    def set_stub(self, slot: int, name: str, value: int) -> None:
        """Overrides what a board reports; `name` is the stub's, or slot_sensor_name."""
        self.command("stub", "set", slot, name, value)

    def clear_stub(self, slot: int, name: str | None = None) -> None:
        """Takes one stub back, or all."""
        self.command("stub", "clear", slot, *_given(name))

    def set_sensor(self, slot: int, sensor: str, value: int) -> None:
        """Simulates a sensor; the value is in tenths of a degree Celsius, or millivolts."""
        self.command("sensor", "set", slot, sensor, value)

    def clear_sensor(self, slot: int, sensor: str | None = None) -> None:
        """Lets one sensor read the hardware again, or all."""
        self.command("sensor", "clear", slot, *_given(sensor))

    def set_online(self, slot: int, board: int, online: bool) -> None:
        """Tells the board in `slot` whether another one is online."""
        self.command("online", "set", slot, board, int(online))

    @contextlib.contextmanager
    def fault(self, slot: int, kind: str, *, sensor: str | None = None, value: int | None = None) -> Iterator[None]:
        """A fault that lasts as long as the block. The page of scenarios lists the kinds."""
        self.start_fault(slot, kind, sensor=sensor, value=value)
        try:
            yield
        finally:
            self.end_fault(slot, kind, sensor=sensor)

    def start_fault(self, slot: int, kind: str, *, sensor: str | None = None, value: int | None = None) -> None:
        """Begins a fault."""
        self.command("fault", "start", slot, kind, *_given(sensor, value))

    def end_fault(self, slot: int, kind: str, *, sensor: str | None = None) -> None:
        """Ends a fault."""
        self.command("fault", "end", slot, kind, *_given(sensor))

    def pull(self, slot: int) -> None:
        """Pulls a board."""
        self.command("pull", slot)

    def plug(self, slot: int) -> None:
        """Plugs a pulled board."""
        self.command("plug", slot)

    def kill(self, slot: int) -> None:
        """Kills a board's process."""
        self.command("kill", slot)

    def restart(self, slot: int) -> None:
        """Stops a board's process, starts it again and waits until it has registered."""
        self.command("restart", slot)

    def send(self, slot: int, packet: str, count: int = 1) -> None:
        """Sends packets and waits for the answers: wrong-destination, reply-flag, wrong-source, long, short, sound."""
        self.command("send", slot, packet, count)

    def advance(self, slot: int, seconds: int) -> None:
        """Lets time pass on the clock of a board's diagnostic manager."""
        self.command("advance", slot, seconds)

    # ---- Time and events

    def now(self) -> float:
        """Chassis time: seconds since power-on."""
        return self._wait(0)

    def wait(self, seconds: float) -> None:
        """Lets chassis time pass."""
        now = self.now()
        end = now + seconds
        while end - now >= _SHORTEST_WAIT_S:
            now = self._wait(end - now)

    def wait_for(
        self,
        kind: str,
        *,
        within: float = 10.0,
        slot: int | None = None,
        since: Event | int | None = None,
        **values: Any,
    ) -> Event:
        """Returns the first event of the kind that has these values, and lets time pass until it comes.

        A value may be a condition: `value=lambda v: v > 900`. An event counts when it came since the last command
        began, or after `since`: an event or its number, 0 for the whole run. Raises NoSuchEvent when none has come
        `within` seconds of chassis time.
        """
        wanted = _Wanted(kind, slot, values)
        after = self._mark if since is None else _number(since)
        end = self.now() + within
        while True:
            for event in self._read_after(after):
                if wanted.is_met_by(event):
                    return event
            after = self._log[-1].number
            left = end - self._log[-1].time  # which is the last command's own event
            if left < _SHORTEST_WAIT_S:
                raise NoSuchEvent(wanted.failure(within, self._log))
            with contextlib.suppress(Refused):  # none has come in this time
                self._wait(left, kind, after)

    def events(
        self, kind: str | None = None, *, slot: int | None = None, since: Event | int = 0, **values: Any
    ) -> list[Event]:
        """The events so far that came after `since`: all, or those of a kind, of a slot and with these values."""
        if not self._is_held and not self._has_ended:
            self.now()  # writes the file up to here
        wanted = _Wanted(kind, slot, values)
        return [event for event in self._read_after(_number(since)) if wanted.is_met_by(event)]

    def _wait(self, seconds: float, *event: object) -> float:
        length = min(seconds, self._longest_wait_s)
        return float(self._ask(["wait", f"{length:.3f}", *map(str, event)], length).split()[0])

    def _set_mark(self) -> None:
        if self._events_path is not None:
            self._mark = max((event.number for event in self._read()[-1:]), default=0)

    def _read_after(self, number: int) -> list[Event]:
        return self._read()[bisect.bisect_right(self._log, number, key=_number) :]

    def _read(self) -> list[Event]:
        if self._events_path is None:
            raise ChassisError("this chassis writes no event file: run it with --events")
        with self._events_path.open("rb") as file:
            file.seek(self._read_bytes)
            lines = file.read()
        whole = lines.rfind(b"\n") + 1
        self._read_bytes += whole
        self._log += [_event(line) for line in lines[:whole].splitlines()]
        return self._log


class _Wanted:
    """An event that is waited for, and the one that came nearest."""

    def __init__(self, kind: str | None, slot: int | None, values: Mapping[str, Any]) -> None:
        self._kind = kind
        self._slot = slot
        self._values = values
        self._nearest: Event | None = None
        self._differing: list[str] = []

    def is_met_by(self, event: Event) -> bool:
        if self._kind not in (None, event.kind):
            return False
        differing = [] if self._slot in (None, event.slot) else ["slot"]
        differing += [name for name, value in self._values.items() if not _has(event, name, value)]
        if differing and (self._nearest is None or len(differing) <= len(self._differing)):
            self._nearest, self._differing = event, differing
        return not differing

    def failure(self, within: float, log: list[Event]) -> str:
        words = [str(self._kind)] + ([] if self._slot is None else [f"slot={self._slot}"])
        words += [name if callable(value) else f"{name}={value}" for name, value in self._values.items()]
        text = f"no {' '.join(words)} within {within:g} s"
        if self._nearest is not None:
            text += f"\nnearest: {self._nearest} (not {', '.join(self._differing)})"
        return text + "\nthe last events:" + "".join(f"\n  {event}" for event in log[-5:])


def _has(event: Event, name: str, wanted: Any) -> bool:
    if name not in event.values:
        return False
    return bool(wanted(event[name])) if callable(wanted) else bool(event[name] == wanted)


def _given(*words: object) -> list[object]:
    return [word for word in words if word is not None]


def _number(event: Event | int) -> int:
    return event if isinstance(event, int) else event.number


def _event(line: bytes) -> Event:
    values = json.loads(line)
    return Event(values.pop("n"), values.pop("t"), values.pop("event"), values.pop("slot", None), values)


def _end_with_parent() -> None:
    ctypes.CDLL(None).prctl(_PR_SET_PDEATHSIG, signal.SIGTERM)


def _connect(folder: Path) -> socket.socket:
    """A socket's path is short, a folder's may be long: the folder's descriptor leads there."""
    descriptor = os.open(folder, os.O_PATH | os.O_DIRECTORY)
    connection = socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET)
    try:
        connection.connect(f"/proc/self/fd/{descriptor}/control")
    except OSError:
        connection.close()
        raise
    finally:
        os.close(descriptor)
    return connection


def _takes_commands(folder: Path) -> bool:
    try:
        _connect(folder).close()
    except OSError:
        return False
    return True


def _running_folders() -> list[Path]:
    """As the program finds them."""
    root = Path(os.environ.get("TMPDIR") or "/tmp")
    return [folder for folder in sorted(root.glob("orva-chassis.*")) if _takes_commands(folder)]
