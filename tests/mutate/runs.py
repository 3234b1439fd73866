"""Runs test programs: one that hangs has failed, one that waits for a busy machine has not."""
import glob
import os
import signal
import subprocess

SLEEPING_SECONDS = 20


def states_below(ancestor):
    """The states of all threads of a process and of what it started."""
    parents = {}
    for stat in glob.glob("/proc/[0-9]*/stat"):
        try:
            parents[int(stat.split("/")[2])] = int(open(stat).read().rpartition(")")[2].split()[1])
        except OSError:
            pass  # it ended meanwhile
    family = [ancestor]
    for process in family:
        family += [child for child, parent in parents.items() if parent == process]
        for stat in glob.glob(f"/proc/{process}/task/*/stat"):
            try:
                yield open(stat).read().rpartition(")")[2].split()[0]
            except OSError:
                pass


def run(command, folder, longest_sleep=SLEEPING_SECONDS, output=subprocess.DEVNULL):
    """True when a program passes. One whose processes all sleep without end has failed; one that waits for a processor,
    since the machine is busy, has not."""
    with subprocess.Popen(command, cwd=folder, stdin=subprocess.DEVNULL, stdout=output,
                          stderr=subprocess.DEVNULL, start_new_session=True) as process:
        asleep = 0
        while asleep < longest_sleep:
            try:
                return process.wait(1) == 0
            except subprocess.TimeoutExpired:
                asleep = 0 if {"R", "D"} & set(states_below(process.pid)) else asleep + 1
        os.killpg(process.pid, signal.SIGKILL)
        return False
